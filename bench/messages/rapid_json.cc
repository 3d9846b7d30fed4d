// RapidJSON by its document: built and written, parsed and read.

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <stdexcept>

#include "messages/codec.h"
#include "messages/json_shape.h"
#include "messages/rapid_json_payload.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

using rapidjson::Value;
using Pool = rapidjson::Document::AllocatorType;

Value Build(const GidValues& values, Pool& pool) {
  Value gid(rapidjson::kObjectType);
  gid.AddMember("id", TextOf(values.id), pool);
  gid.AddMember("dataStoreId", TextOf(values.data_store_id), pool);
  gid.AddMember("serverId", TextOf(values.server_id), pool);
  gid.AddMember("clusterId", TextOf(values.cluster_id), pool);
  gid.AddMember("type", values.type, pool);
  return gid;
}

struct Parts {
  static Value Gid(const GidValues& values, Pool& pool) { return Build(values, pool); }
  static Value Real(float number) { return Value(number); }
  static Value Activity(int activity) { return Value(activity); }
};

Value Build(const EventValues& values, Pool& pool) {
  Value event(rapidjson::kObjectType);
  event.AddMember("thisId", values.this_id, pool);
  event.AddMember("linkedEventId", values.linked_event_id, pool);
  event.AddMember("timestamp", values.timestamp, pool);
  event.AddMember("eventType", static_cast<int>(values.kind), pool);
  Value trigger(rapidjson::kObjectType);
  trigger.AddMember("prePostRecordTime", values.pre_post_record_time, pool);
  trigger.AddMember("isPrePost", values.is_pre_post, pool);
  trigger.AddMember("triggerJiffy", values.trigger_jiffy, pool);
  trigger.AddMember("isTriggerJiffy", values.is_trigger_jiffy, pool);
  event.AddMember("recordTriggerParams", trigger, pool);
  event.AddMember("originatingServerGid", Build(values.originating_server_gid, pool), pool);
  event.AddMember("originatingEventId", values.originating_event_id, pool);
  event.AddMember("originatingServerName", TextOf(values.originating_server_name), pool);
  event.AddMember(TextOf(PayloadMember(values.kind)), BuildPayload<Parts>(values, pool), pool);
  return event;
}

void AddText(const Value& text, Sum* sum) { sum->Text({text.GetString(), text.GetStringLength()}); }

void AddGid(const Value& gid, Sum* sum) {
  AddText(gid["id"], sum);
  AddText(gid["dataStoreId"], sum);
  AddText(gid["serverId"], sum);
  AddText(gid["clusterId"], sum);
  sum->Number(gid["type"].GetInt());
}

void AddPayload(EventKind kind, const Value& payload, Sum* sum) {
  switch (kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop:
      AddText(payload["deviceId"], sum);
      AddGid(payload["deviceGid"], sum);
      break;
    case EventKind::kPlateFound:
      AddText(payload["deviceId"], sum);
      AddGid(payload["deviceGid"], sum);
      AddText(payload["licensePlate"], sum);
      sum->Real(payload["confidence"].GetFloat());
      break;
    case EventKind::kAnalyticsStart:
      AddGid(payload["deviceGid"], sum);
      AddText(payload["analyticEventName"], sum);
      AddText(payload["sensorName"], sum);
      sum->Number(payload["activity"].GetInt());
      for (const Value& id : payload["targetIds"].GetArray()) sum->Number(id.GetUint());
      break;
  }
}

void AddEvent(const Value& event, Sum* sum) {
  sum->Number(event["thisId"].GetInt64());
  sum->Number(event["linkedEventId"].GetInt64());
  sum->Number(event["timestamp"].GetInt64());
  const int type = event["eventType"].GetInt();
  sum->Number(type);
  const Value& trigger = event["recordTriggerParams"];
  sum->Number(trigger["prePostRecordTime"].GetInt64());
  sum->Number(trigger["isPrePost"].GetBool() ? 1 : 0);
  sum->Number(trigger["triggerJiffy"].GetUint());
  sum->Number(trigger["isTriggerJiffy"].GetBool() ? 1 : 0);
  AddGid(event["originatingServerGid"], sum);
  sum->Number(event["originatingEventId"].GetInt64());
  AddText(event["originatingServerName"], sum);
  const auto kind = static_cast<EventKind>(type);
  AddPayload(kind, event[TextOf(PayloadMember(kind))], sum);
}

class RapidJson : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    rapidjson::Document document;
    Pool& pool = document.GetAllocator();
    document.SetObject();
    document.AddMember("gid", Build(values.gid, pool), pool);
    Value results(rapidjson::kArrayType);
    for (const PairValues& values_of_pair : values.pairs) {
      Value pair(rapidjson::kObjectType);
      pair.AddMember("event", Build(values_of_pair.event, pool), pool);
      if (values_of_pair.linked_event) {
        pair.AddMember("linkedEvent", Build(*values_of_pair.linked_event, pool), pool);
      }
      results.PushBack(pair, pool);
    }
    document.AddMember("results", results, pool);
    json_.Clear();
    rapidjson::Writer<rapidjson::StringBuffer> writer(json_);
    document.Accept(writer);
    return {json_.GetString(), json_.GetSize()};
  }

  std::uint64_t Decode(std::string_view json) override {
    rapidjson::Document document;
    document.Parse(json.data(), json.size());
    if (document.HasParseError()) throw std::runtime_error("RapidJSON: not JSON");
    Sum sum;
    AddGid(document["gid"], &sum);
    for (const Value& pair : document["results"].GetArray()) {
      AddEvent(pair["event"], &sum);
      const auto linked = pair.FindMember("linkedEvent");
      if (linked != pair.MemberEnd()) AddEvent(linked->value, &sum);
    }
    return sum.value();
  }

 private:
  rapidjson::StringBuffer json_;
};

}  // namespace

std::unique_ptr<Codec> MakeRapidJson() { return std::make_unique<RapidJson>(); }

}  // namespace CmnSys::Bench
