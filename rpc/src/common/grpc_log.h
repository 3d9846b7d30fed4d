// gRPC's own log, which belongs to the whole process.

#ifndef CMNSYS_RPC_SRC_GRPC_LOG_H_
#define CMNSYS_RPC_SRC_GRPC_LOG_H_

#include <memory>

#include "CmnSys/Rpc/Observer.h"

namespace CmnSys::Rpc {

// Tells the observer, while it lives, of what gRPC logs, as events of the kind kLog. As long as
// there is one, nothing of it goes to standard error. Null does nothing. Thread-safe.
void SendGrpcLogTo(const std::shared_ptr<Observer>& observer);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_GRPC_LOG_H_
