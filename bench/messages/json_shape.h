// The query result as JSON, for the libraries that know no schema: member names as short as the
// schema's fields, ids as they are.

#ifndef CMNSYS_BENCH_MESSAGES_JSON_SHAPE_H_
#define CMNSYS_BENCH_MESSAGES_JSON_SHAPE_H_

#include <string_view>

#include "values/event_values.h"

namespace CmnSys::Bench {

// The member that holds the payload of an event.
constexpr std::string_view PayloadMember(EventKind kind) {
  switch (kind) {
    case EventKind::kPlateFound:
      return "plateFound";
    case EventKind::kMotionStart:
      return "motionStart";
    case EventKind::kMotionStop:
      return "motionStop";
    case EventKind::kAnalyticsStart:
      return "analyticsStart";
  }
  return "";
}

}  // namespace CmnSys::Bench

#endif  // CMNSYS_BENCH_MESSAGES_JSON_SHAPE_H_
