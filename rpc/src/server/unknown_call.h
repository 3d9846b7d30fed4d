// Calls of methods that a server does not offer.

#ifndef CMNSYS_RPC_SRC_UNKNOWN_CALL_H_
#define CMNSYS_RPC_SRC_UNKNOWN_CALL_H_

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/server_builder.h>

#include <memory>

#include "server/server_core.h"

namespace CmnSys::Rpc {

// Waits for the next call of a method that no service of the server has, says that it is not
// offered, and arranges for the call after it.
void ListenForUnknownCalls(const std::shared_ptr<ServerCore>& core,
                           grpc::AsyncGenericService* service, grpc::ServerCompletionQueue* queue);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_UNKNOWN_CALL_H_
