// Calls of methods that the server does not offer.

#ifndef CMNSYS_RPC_SRC_UNKNOWN_CALL_H_
#define CMNSYS_RPC_SRC_UNKNOWN_CALL_H_

#include <grpcpp/generic/async_generic_service.h>

#include <memory>

#include "common/completion.h"
#include "server/server_core.h"

namespace CmnSys::Rpc {

// Answers kUnimplemented and says what is missing. Owns itself.
class UnknownCall {
 public:
  static void Listen(const std::shared_ptr<ServerCore>& core, grpc::AsyncGenericService* service,
                     grpc::ServerCompletionQueue* queue);

 private:
  UnknownCall(std::shared_ptr<ServerCore> core, grpc::AsyncGenericService* service,
              grpc::ServerCompletionQueue* queue)
      : core_(std::move(core)), service_(service), queue_(queue) {}

  void OnArrived(bool ok);
  void OnFinished(bool /*ok*/) { delete this; }

  const std::shared_ptr<ServerCore> core_;
  grpc::AsyncGenericService* const service_;
  grpc::ServerCompletionQueue* const queue_;
  MemberTag<UnknownCall, &UnknownCall::OnArrived> arrived_{this};
  MemberTag<UnknownCall, &UnknownCall::OnFinished> finished_{this};
  grpc::GenericServerContext context_;
  grpc::GenericServerAsyncReaderWriter stream_{&context_};
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_UNKNOWN_CALL_H_
