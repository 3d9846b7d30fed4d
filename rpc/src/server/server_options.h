#ifndef CMNSYS_RPC_SRC_SERVER_OPTIONS_H_
#define CMNSYS_RPC_SRC_SERVER_OPTIONS_H_

#include "CmnSys/Rpc/Server.h"

namespace CmnSys::Rpc {

// Throws std::invalid_argument, which names an option whose value is not allowed.
void CheckOptions(const ServerOptions& options);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_SERVER_OPTIONS_H_
