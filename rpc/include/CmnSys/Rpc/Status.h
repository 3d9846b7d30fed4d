// How a call ended: a status code and a text.

#ifndef CMNSYS_RPC_STATUS_H_
#define CMNSYS_RPC_STATUS_H_

#include <string>

#include "CmnSys/Rpc/Export.h"

namespace CmnSys::Rpc {

// The status codes of gRPC, with its numbers:
// https://grpc.github.io/grpc/core/md_doc_statuscodes.html. docs/rpc.md lists what leads to which.
enum class StatusCode {
  kOk = 0,
  kCancelled = 1,
  kUnknown = 2,
  kInvalidArgument = 3,
  kDeadlineExceeded = 4,
  kNotFound = 5,
  kAlreadyExists = 6,
  kPermissionDenied = 7,
  kResourceExhausted = 8,
  kFailedPrecondition = 9,
  kAborted = 10,
  kOutOfRange = 11,
  kUnimplemented = 12,
  kInternal = 13,
  kUnavailable = 14,
  kDataLoss = 15,
  kUnauthenticated = 16,
};

// Returns the code's name as gRPC writes it, for example "DEADLINE_EXCEEDED"; "UNKNOWN" for a
// number that is no code. Thread-safe.
CMNSYSRPC_EXPORT const char* StatusCodeName(StatusCode code);

// What a call, subscription or decision came to. A value to be copied; kOk by default.
struct Status {
  StatusCode code = StatusCode::kOk;
  std::string text;  // UTF-8, for people; empty when the code is kOk.

  // Whether it has succeeded.
  bool Ok() const { return code == StatusCode::kOk; }
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_STATUS_H_
