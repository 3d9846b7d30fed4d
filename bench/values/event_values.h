// The events of a query result as plain values, of which every variant builds its messages.

#ifndef CMNSYS_BENCH_VALUES_EVENT_VALUES_H_
#define CMNSYS_BENCH_VALUES_EVENT_VALUES_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace CmnSys::Bench {

// Ids hold hexadecimal digits, so that formats of text can carry them as they are.
struct GidValues {
  std::string id;
  std::string data_store_id;
  std::string server_id;
  std::string cluster_id;
  int type = 0;
};

// The numbers are those of the event types.
enum class EventKind {
  kPlateFound = 5011,
  kMotionStart = 5013,
  kMotionStop = 5014,
  kAnalyticsStart = 5039,
};

// The payload of kMotionStart and kMotionStop.
struct MotionValues {
  std::string device_id;
  GidValues device_gid;
};

struct PlateValues {
  std::string device_id;
  GidValues device_gid;
  std::string license_plate;
  float confidence = 0;
};

struct AnalyticsValues {
  GidValues device_gid;
  std::string analytic_event_name;
  std::string sensor_name;
  int activity = 0;
  std::vector<std::uint32_t> target_ids;
};

struct EventValues {
  std::int64_t this_id = 0;
  std::int64_t linked_event_id = 0;
  std::int64_t timestamp = 0;
  EventKind kind = EventKind::kMotionStart;
  std::int64_t pre_post_record_time = 0;
  bool is_pre_post = false;
  std::uint32_t trigger_jiffy = 0;
  bool is_trigger_jiffy = false;
  GidValues originating_server_gid;
  std::int64_t originating_event_id = 0;
  std::string originating_server_name;
  // The one that `kind` names.
  MotionValues motion;
  PlateValues plate;
  AnalyticsValues analytics;
};

struct PairValues {
  EventValues event;
  std::optional<EventValues> linked_event;
};

// A batch of results of a query.
struct QueryResultValues {
  GidValues gid;
  std::vector<PairValues> pairs;

  std::size_t Events() const;
};

// The result of a search for events: motion, number plates and analytics. Every second pair has a
// linked event. The same seed gives the same values on every machine.
QueryResultValues MakeQueryResult(std::uint64_t seed, std::size_t pairs);

}  // namespace CmnSys::Bench

#endif  // CMNSYS_BENCH_VALUES_EVENT_VALUES_H_
