#include "server/unknown_call.h"

#include <utility>

#include "common/payload.h"

namespace CmnSys::Rpc {

namespace {

// One of them. Owns itself.
class UnknownCall {
 public:
  static void Listen(const std::shared_ptr<ServerCore>& core, grpc::AsyncGenericService* service,
                     grpc::ServerCompletionQueue* queue) {
    auto* call = new UnknownCall(core, service, queue);
    const bool listening = core->gate.Pass([&] {
      service->RequestCall(&call->context_, &call->stream_, queue, queue, call->arrived_.Post());
    });
    if (!listening) delete call;
  }

 private:
  UnknownCall(std::shared_ptr<ServerCore> core, grpc::AsyncGenericService* service,
              grpc::ServerCompletionQueue* queue)
      : core_(std::move(core)), service_(service), queue_(queue) {}

  void OnArrived(bool ok) {
    if (!ok) {
      delete this;
      return;
    }
    core_->BeginStream(context_);
    Listen(core_, service_, queue_);
    const Status status{StatusCode::kUnimplemented,
                        "this server does not offer the method " + context_.method()};
    const bool answering = core_->gate.Pass([&] {
      stream_.Finish(ToGrpc(status, core_->options.max_error_text_bytes), finished_.Post());
    });
    if (!answering) OnFinished(false);
  }
  void OnFinished(bool /*ok*/) {
    core_->EndStream();
    delete this;
  }

  const std::shared_ptr<ServerCore> core_;
  grpc::AsyncGenericService* const service_;
  grpc::ServerCompletionQueue* const queue_;
  MemberTag<UnknownCall, &UnknownCall::OnArrived> arrived_{this};
  MemberTag<UnknownCall, &UnknownCall::OnFinished> finished_{this};
  grpc::GenericServerContext context_;
  grpc::GenericServerAsyncReaderWriter stream_{&context_};
};

}  // namespace

void ListenForUnknownCalls(const std::shared_ptr<ServerCore>& core,
                           grpc::AsyncGenericService* service, grpc::ServerCompletionQueue* queue) {
  UnknownCall::Listen(core, service, queue);
}

}  // namespace CmnSys::Rpc
