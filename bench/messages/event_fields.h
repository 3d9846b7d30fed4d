// Sets and reads every field of our query result: of the generated classes, or of writers and
// views, whose accessors are the same.

#ifndef CMNSYS_BENCH_MESSAGES_EVENT_FIELDS_H_
#define CMNSYS_BENCH_MESSAGES_EVENT_FIELDS_H_

#include <cstdint>
#include <type_traits>

#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.pb.h"
#include "values/event_values.h"
#include "values/sum.h"

namespace CmnSys::Bench {

// What a mutable accessor gives: a pointer to a message, or a writer.
template <typename Message>
Message& Target(Message* message) {
  return *message;
}
template <typename Writer>
Writer& Target(Writer& writer) {
  return writer;
}

// Fields are set in the order of their numbers.
template <typename To>
void Set(const GidValues& values, To&& to) {
  auto& gid = Target(to);
  gid.set_id(values.id);
  gid.set_data_store_id(values.data_store_id);
  gid.set_server_id(values.server_id);
  gid.set_cluster_id(values.cluster_id);
  gid.set_type(static_cast<Pb::CmnSys::GidType>(values.type));
}

template <typename To>
void Set(const MotionValues& values, To&& to) {
  auto& motion = Target(to);
  motion.set_device_id(values.device_id);
  Set(values.device_gid, motion.mutable_device_gid());
}

template <typename To>
void Set(const PlateValues& values, To&& to) {
  auto& plate = Target(to);
  plate.set_device_id(values.device_id);
  Set(values.device_gid, plate.mutable_device_gid());
  plate.set_license_plate(values.license_plate);
  plate.set_confidence(values.confidence);
}

template <typename To>
void Set(const AnalyticsValues& values, To&& to) {
  auto& analytics = Target(to);
  Set(values.device_gid, analytics.mutable_device_gid());
  analytics.set_analytic_event_name(values.analytic_event_name);
  analytics.set_sensor_name(values.sensor_name);
  analytics.set_activity(static_cast<Pb::CmnSys::Analytics::ActivityType>(values.activity));
  for (const std::uint32_t id : values.target_ids) analytics.add_target_ids(id);
}

template <typename To>
void SetTrigger(const EventValues& values, To&& to) {
  auto& trigger = Target(to);
  trigger.set_pre_post_record_time(values.pre_post_record_time);
  trigger.set_is_pre_post(values.is_pre_post);
  trigger.set_trigger_jiffy(values.trigger_jiffy);
  trigger.set_is_trigger_jiffy(values.is_trigger_jiffy);
}

template <typename To>
void Set(const EventValues& values, To&& to) {
  namespace Events = Pb::CmnSys::Events;
  auto& event = Target(to);
  event.set_this_id(values.this_id);
  event.set_linked_event_id(values.linked_event_id);
  event.set_timestamp(values.timestamp);
  event.set_event_type(static_cast<Events::EventType>(values.kind));
  SetTrigger(values, event.mutable_record_trigger_params());
  Set(values.originating_server_gid, event.mutable_originating_server_gid());
  event.set_originating_event_id(values.originating_event_id);
  event.set_originating_server_name(values.originating_server_name);
  switch (values.kind) {
    case EventKind::kMotionStart:
      Set(values.motion, event.MutableExtension(Events::event_device_motion_start));
      break;
    case EventKind::kMotionStop:
      Set(values.motion, event.MutableExtension(Events::event_device_motion_stop));
      break;
    case EventKind::kPlateFound:
      Set(values.plate, event.MutableExtension(Events::event_device_lpr_plate_found));
      break;
    case EventKind::kAnalyticsStart:
      Set(values.analytics, event.MutableExtension(Events::event_device_analytics_start));
      break;
  }
}

template <typename To>
void SetPair(const PairValues& values, To&& to) {
  auto& pair = Target(to);
  Set(values.event, pair.mutable_event());
  if (values.linked_event) Set(*values.linked_event, pair.mutable_linked_event());
}

template <typename To>
void SetPairs(const QueryResultValues& values, To&& to) {
  auto& events = Target(to);
  if constexpr (std::is_pointer_v<std::remove_reference_t<To>>) {
    events.mutable_results()->Reserve(static_cast<int>(values.pairs.size()));
  }
  for (const PairValues& pair : values.pairs) SetPair(pair, events.add_results());
}

template <typename To>
void Set(const QueryResultValues& values, To&& to) {
  auto& result = Target(to);
  result.set_type(Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_SYSTEM_EVENTS);
  Set(values.gid, result.mutable_gid());
  SetPairs(values, result.mutable_query_result_system_events());
}

template <typename Gid>
void AddGid(const Gid& gid, Sum* sum) {
  sum->Text(gid.id());
  sum->Text(gid.data_store_id());
  sum->Text(gid.server_id());
  sum->Text(gid.cluster_id());
  sum->Number(gid.type());
}

template <typename Motion>
void AddMotion(const Motion& motion, Sum* sum) {
  sum->Text(motion.device_id());
  AddGid(motion.device_gid(), sum);
}

template <typename Event>
void AddEvent(const Event& event, Sum* sum) {
  namespace Events = Pb::CmnSys::Events;
  sum->Number(event.this_id());
  sum->Number(event.linked_event_id());
  sum->Number(event.timestamp());
  sum->Number(event.event_type());
  const auto& trigger = event.record_trigger_params();
  sum->Number(trigger.pre_post_record_time());
  sum->Number(trigger.is_pre_post() ? 1 : 0);
  sum->Number(trigger.trigger_jiffy());
  sum->Number(trigger.is_trigger_jiffy() ? 1 : 0);
  AddGid(event.originating_server_gid(), sum);
  sum->Number(event.originating_event_id());
  sum->Text(event.originating_server_name());
  switch (event.event_type()) {
    case Events::EVENT_DEVICE_MOTION_START:
      AddMotion(event.GetExtension(Events::event_device_motion_start), sum);
      break;
    case Events::EVENT_DEVICE_MOTION_STOP:
      AddMotion(event.GetExtension(Events::event_device_motion_stop), sum);
      break;
    case Events::EVENT_DEVICE_LPR_PLATE_FOUND: {
      const auto& plate = event.GetExtension(Events::event_device_lpr_plate_found);
      AddMotion(plate, sum);
      sum->Text(plate.license_plate());
      sum->Real(plate.confidence());
      break;
    }
    case Events::EVENT_DEVICE_ANALYTICS_START: {
      const auto& analytics = event.GetExtension(Events::event_device_analytics_start);
      AddGid(analytics.device_gid(), sum);
      sum->Text(analytics.analytic_event_name());
      sum->Text(analytics.sensor_name());
      sum->Number(analytics.activity());
      for (const std::uint32_t id : analytics.target_ids()) sum->Number(id);
      break;
    }
    default:
      break;
  }
}

template <typename Result>
std::uint64_t SumOf(const Result& result) {
  Sum sum;
  AddGid(result.gid(), &sum);
  const auto& events = result.query_result_system_events();
  for (const auto& pair : events.results()) {
    AddEvent(pair.event(), &sum);
    if (pair.has_linked_event()) AddEvent(pair.linked_event(), &sum);
  }
  return sum.value();
}

}  // namespace CmnSys::Bench

#endif  // CMNSYS_BENCH_MESSAGES_EVENT_FIELDS_H_
