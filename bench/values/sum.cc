#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

void Add(const GidValues& gid, Sum* sum) {
  sum->Text(gid.id);
  sum->Text(gid.data_store_id);
  sum->Text(gid.server_id);
  sum->Text(gid.cluster_id);
  sum->Number(gid.type);
}

void Add(const EventValues& event, Sum* sum) {
  sum->Number(event.this_id);
  sum->Number(event.linked_event_id);
  sum->Number(event.timestamp);
  sum->Number(static_cast<int>(event.kind));
  sum->Number(event.pre_post_record_time);
  sum->Number(event.is_pre_post ? 1 : 0);
  sum->Number(event.trigger_jiffy);
  sum->Number(event.is_trigger_jiffy ? 1 : 0);
  Add(event.originating_server_gid, sum);
  sum->Number(event.originating_event_id);
  sum->Text(event.originating_server_name);
  switch (event.kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop:
      sum->Text(event.motion.device_id);
      Add(event.motion.device_gid, sum);
      break;
    case EventKind::kPlateFound:
      sum->Text(event.plate.device_id);
      Add(event.plate.device_gid, sum);
      sum->Text(event.plate.license_plate);
      sum->Real(event.plate.confidence);
      break;
    case EventKind::kAnalyticsStart:
      Add(event.analytics.device_gid, sum);
      sum->Text(event.analytics.analytic_event_name);
      sum->Text(event.analytics.sensor_name);
      sum->Number(event.analytics.activity);
      for (const std::uint32_t id : event.analytics.target_ids) sum->Number(id);
      break;
  }
}

}  // namespace

std::uint64_t SumOf(const QueryResultValues& result) {
  Sum sum;
  Add(result.gid, &sum);
  for (const PairValues& pair : result.pairs) {
    Add(pair.event, &sum);
    if (pair.linked_event) Add(*pair.linked_event, &sum);
  }
  return sum.value();
}

}  // namespace CmnSys::Bench
