// simdjson on demand, which reads the members in the order in which they were written. It does not
// write: RapidJSON does.

#include <simdjson.h>

#include "messages/codec.h"
#include "messages/json_shape.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

using simdjson::ondemand::object;

std::int64_t NumberIn(object& parent, const char* member) {
  return parent.find_field(member).get_int64();
}

void AddText(object& parent, const char* member, Sum* sum) {
  sum->Text(std::string_view(parent.find_field(member)));
}

void AddTruth(object& parent, const char* member, Sum* sum) {
  sum->Number(bool(parent.find_field(member)) ? 1 : 0);
}

void AddGid(object& parent, const char* member, Sum* sum) {
  object gid = parent.find_field(member).get_object();
  AddText(gid, "id", sum);
  AddText(gid, "dataStoreId", sum);
  AddText(gid, "serverId", sum);
  AddText(gid, "clusterId", sum);
  sum->Number(NumberIn(gid, "type"));
}

void AddPayload(EventKind kind, object payload, Sum* sum) {
  switch (kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop:
      AddText(payload, "deviceId", sum);
      AddGid(payload, "deviceGid", sum);
      break;
    case EventKind::kPlateFound:
      AddText(payload, "deviceId", sum);
      AddGid(payload, "deviceGid", sum);
      AddText(payload, "licensePlate", sum);
      sum->Real(static_cast<float>(payload.find_field("confidence").get_double()));
      break;
    case EventKind::kAnalyticsStart:
      AddGid(payload, "deviceGid", sum);
      AddText(payload, "analyticEventName", sum);
      AddText(payload, "sensorName", sum);
      sum->Number(NumberIn(payload, "activity"));
      for (auto id : payload.find_field("targetIds").get_array()) sum->Number(id.get_int64());
      break;
  }
}

void AddEvent(object event, Sum* sum) {
  sum->Number(NumberIn(event, "thisId"));
  sum->Number(NumberIn(event, "linkedEventId"));
  sum->Number(NumberIn(event, "timestamp"));
  const std::int64_t type = NumberIn(event, "eventType");
  sum->Number(type);
  object trigger = event.find_field("recordTriggerParams").get_object();
  sum->Number(NumberIn(trigger, "prePostRecordTime"));
  AddTruth(trigger, "isPrePost", sum);
  sum->Number(NumberIn(trigger, "triggerJiffy"));
  AddTruth(trigger, "isTriggerJiffy", sum);
  AddGid(event, "originatingServerGid", sum);
  sum->Number(NumberIn(event, "originatingEventId"));
  AddText(event, "originatingServerName", sum);
  const auto kind = static_cast<EventKind>(type);
  AddPayload(kind, event.find_field(PayloadMember(kind)).get_object(), sum);
}

class Simdjson : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    return writer_->Encode(values);
  }

  std::uint64_t Decode(std::string_view json) override {
    static_assert(kReadable >= simdjson::SIMDJSON_PADDING);
    auto document = parser_.iterate(json.data(), json.size(), json.size() + kReadable);
    object result = document.get_object();
    Sum sum;
    AddGid(result, "gid", &sum);
    for (auto element : result.find_field("results").get_array()) {
      object pair = element.get_object();
      AddEvent(pair.find_field("event").get_object(), &sum);
      simdjson::ondemand::object linked;
      if (pair.find_field("linkedEvent").get_object().get(linked) == simdjson::SUCCESS) {
        AddEvent(linked, &sum);
      }
    }
    return sum.value();
  }

 private:
  std::unique_ptr<Codec> writer_ = MakeRapidJson();
  simdjson::ondemand::parser parser_;
};

}  // namespace

std::unique_ptr<Codec> MakeSimdjson() { return std::make_unique<Simdjson>(); }

}  // namespace CmnSys::Bench
