// From the outcome of a call to the exit status.

#ifndef CMNSYS_TOOLS_COMMANDS_RPC_STATUS_H_
#define CMNSYS_TOOLS_COMMANDS_RPC_STATUS_H_

#include "CmnSys/Rpc/Status.h"
#include "io/exit_status.h"

namespace CmnSys::Tool {

inline ExitStatus ExitStatusOf(Rpc::StatusCode code) {
  switch (code) {
    case Rpc::StatusCode::kOk:
      return ExitStatus::kDone;
    case Rpc::StatusCode::kUnavailable:
      return ExitStatus::kNotReached;
    case Rpc::StatusCode::kUnauthenticated:
    case Rpc::StatusCode::kPermissionDenied:
      return ExitStatus::kRefused;
    default:
      return ExitStatus::kCallFailed;
  }
}

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_COMMANDS_RPC_STATUS_H_
