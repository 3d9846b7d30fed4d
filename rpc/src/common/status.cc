#include "CmnSys/Rpc/Status.h"

#include <array>

namespace CmnSys::Rpc {

const char* StatusCodeName(StatusCode code) {
  static constexpr std::array kNames = {
      "OK",
      "CANCELLED",
      "UNKNOWN",
      "INVALID_ARGUMENT",
      "DEADLINE_EXCEEDED",
      "NOT_FOUND",
      "ALREADY_EXISTS",
      "PERMISSION_DENIED",
      "RESOURCE_EXHAUSTED",
      "FAILED_PRECONDITION",
      "ABORTED",
      "OUT_OF_RANGE",
      "UNIMPLEMENTED",
      "INTERNAL",
      "UNAVAILABLE",
      "DATA_LOSS",
      "UNAUTHENTICATED",
  };
  const auto index = static_cast<std::size_t>(code);
  return index < kNames.size() ? kNames.at(index) : "UNKNOWN";
}

}  // namespace CmnSys::Rpc
