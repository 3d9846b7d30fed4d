#include "server/unknown_call.h"

#include "common/payload.h"

namespace CmnSys::Rpc {

void UnknownCall::Listen(const std::shared_ptr<ServerCore>& core,
                         grpc::AsyncGenericService* service, grpc::ServerCompletionQueue* queue) {
  auto* call = new UnknownCall(core, service, queue);
  const bool listening = core->gate.Pass([&] {
    service->RequestCall(&call->context_, &call->stream_, queue, queue, call->arrived_.Post());
  });
  if (!listening) delete call;
}

void UnknownCall::OnArrived(bool ok) {
  if (!ok) {
    delete this;
    return;
  }
  Listen(core_, service_, queue_);
  const Status status{StatusCode::kUnimplemented,
                      "this server does not offer the method " + context_.method()};
  const bool answering = core_->gate.Pass([&] {
    stream_.Finish(ToGrpc(status, core_->options.max_error_text_bytes), finished_.Post());
  });
  if (!answering) delete this;
}

}  // namespace CmnSys::Rpc
