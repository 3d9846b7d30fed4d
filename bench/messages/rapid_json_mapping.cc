// The JSON that CmnSysUtil writes of the query result, by RapidJSON's document and code written by
// hand that moves the values between it and structures; and the document alone.

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "messages/codec.h"
#include "messages/rapid_json_payload.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

using rapidjson::Value;
using Pool = rapidjson::Document::AllocatorType;

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<unsigned char, 256> MakeDigitValues() {
  std::array<unsigned char, 256> values = {};
  for (unsigned char i = 0; i < 64; ++i) values[static_cast<unsigned char>(kDigits[i])] = i;
  return values;
}

constexpr std::array<unsigned char, 256> kDigitValues = MakeDigitValues();

struct Name {
  int number;
  const char* name;
};

constexpr Name kGidTypes[] = {
    {2, "GID_TYPE_SERVER"}, {10, "GID_TYPE_DEVICE"}, {18, "GID_TYPE_QUERY"}};

constexpr Name kActivities[] = {{1, "ACTIVITY_TYPE_OBJECTS_IN_ROI"},
                                {2, "ACTIVITY_TYPE_OBJECT_CROSSES_BEAM"},
                                {3, "ACTIVITY_TYPE_OBJECTS_LOITERING"}};

struct Kind {
  EventKind kind;
  const char* name;
  const char* payload;
};

constexpr Kind kKinds[] = {
    {EventKind::kPlateFound, "EVENT_DEVICE_LPR_PLATE_FOUND",
     "[Pb.CmnSys.Events.event_device_lpr_plate_found]"},
    {EventKind::kMotionStart, "EVENT_DEVICE_MOTION_START",
     "[Pb.CmnSys.Events.event_device_motion_start]"},
    {EventKind::kMotionStop, "EVENT_DEVICE_MOTION_STOP",
     "[Pb.CmnSys.Events.event_device_motion_stop]"},
    {EventKind::kAnalyticsStart, "EVENT_DEVICE_ANALYTICS_START",
     "[Pb.CmnSys.Events.event_device_analytics_start]"},
};

const Kind& KindOf(EventKind kind) {
  for (const Kind& known : kKinds) {
    if (known.kind == kind) return known;
  }
  throw std::runtime_error("no such kind of event");
}

template <std::size_t kCount>
const char* NameOf(int number, const Name (&names)[kCount]) {
  for (const Name& name : names) {
    if (name.number == number) return name.name;
  }
  throw std::runtime_error("no such value");
}

std::string_view TextIn(const Value& text) { return {text.GetString(), text.GetStringLength()}; }

const Kind& KindOf(const Value& name) {
  for (const Kind& known : kKinds) {
    if (TextIn(name) == known.name) return known;
  }
  throw std::runtime_error("no such kind of event");
}

template <std::size_t kCount>
int NumberOf(const Value& text, const Name (&names)[kCount]) {
  for (const Name& name : names) {
    if (TextIn(text) == name.name) return name.number;
  }
  throw std::runtime_error("no such name");
}

Value NumberAsText(std::int64_t number, Pool& pool) {
  char digits[20];
  const char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  return Value(digits, static_cast<rapidjson::SizeType>(end - digits), pool);
}

Value Base64(std::string_view bytes, Pool& pool) {
  const std::size_t size = (bytes.size() + 2) / 3 * 4;
  auto* const text = static_cast<char*>(pool.Malloc(size));
  char* next = text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    unsigned bits = 0;
    for (std::size_t j = 0; j < 3; ++j) {
      bits = bits << 8 | (j < count ? static_cast<unsigned char>(bytes[i + j]) : 0U);
    }
    for (std::size_t j = 0; j < 4; ++j) {
      *next++ = j <= count ? kDigits[bits >> (18 - 6 * j) & 63] : '=';
    }
  }
  return TextOf({text, size});
}

void SetBase64(const Value& value, std::string* bytes) {
  std::string_view text = TextIn(value);
  while (!text.empty() && text.back() == '=') text.remove_suffix(1);
  bytes->clear();
  unsigned bits = 0;
  int count = 0;
  for (const char c : text) {
    bits = bits << 6 | kDigitValues[static_cast<unsigned char>(c)];
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes->push_back(static_cast<char>(bits >> count));
    bits &= (1U << count) - 1;
  }
}

Value Build(const GidValues& values, Pool& pool) {
  Value gid(rapidjson::kObjectType);
  gid.AddMember("id", Base64(values.id, pool), pool);
  gid.AddMember("dataStoreId", Base64(values.data_store_id, pool), pool);
  gid.AddMember("serverId", Base64(values.server_id, pool), pool);
  gid.AddMember("clusterId", Base64(values.cluster_id, pool), pool);
  gid.AddMember("type", TextOf(NameOf(values.type, kGidTypes)), pool);
  return gid;
}

// The double that has the shortest text of the float.
Value Build(float number) {
  if (number == 0) return Value(0);
  char text[32];
  const char* const end = std::to_chars(text, text + sizeof text, number).ptr;
  double value = 0;
  std::from_chars(text, end, value);
  return Value(value);
}

struct Parts {
  static Value Gid(const GidValues& values, Pool& pool) { return Build(values, pool); }
  static Value Real(float number) { return Build(number); }
  static Value Activity(int activity) { return TextOf(NameOf(activity, kActivities)); }
};

Value Build(const EventValues& values, Pool& pool) {
  const Kind& kind = KindOf(values.kind);
  Value event(rapidjson::kObjectType);
  event.AddMember("thisId", NumberAsText(values.this_id, pool), pool);
  event.AddMember("linkedEventId", NumberAsText(values.linked_event_id, pool), pool);
  event.AddMember("timestamp", NumberAsText(values.timestamp, pool), pool);
  event.AddMember("eventType", TextOf(kind.name), pool);
  Value trigger(rapidjson::kObjectType);
  trigger.AddMember("prePostRecordTime", NumberAsText(values.pre_post_record_time, pool), pool);
  trigger.AddMember("isPrePost", values.is_pre_post, pool);
  trigger.AddMember("triggerJiffy", values.trigger_jiffy, pool);
  trigger.AddMember("isTriggerJiffy", values.is_trigger_jiffy, pool);
  event.AddMember("recordTriggerParams", trigger, pool);
  event.AddMember("originatingServerGid", Build(values.originating_server_gid, pool), pool);
  event.AddMember("originatingEventId", NumberAsText(values.originating_event_id, pool), pool);
  event.AddMember("originatingServerName", TextOf(values.originating_server_name), pool);
  event.AddMember(TextOf(kind.payload), BuildPayload<Parts>(values, pool), pool);
  return event;
}

void Build(const QueryResultValues& values, rapidjson::Document* document) {
  Pool& pool = document->GetAllocator();
  document->SetObject();
  document->AddMember("type", "QUERY_RESULT_TYPE_SYSTEM_EVENTS", pool);
  document->AddMember("gid", Build(values.gid, pool), pool);
  Value pairs(rapidjson::kArrayType);
  for (const PairValues& values_of_pair : values.pairs) {
    Value pair(rapidjson::kObjectType);
    pair.AddMember("event", Build(values_of_pair.event, pool), pool);
    if (values_of_pair.linked_event) {
      pair.AddMember("linkedEvent", Build(*values_of_pair.linked_event, pool), pool);
    }
    pairs.PushBack(pair, pool);
  }
  Value results(rapidjson::kObjectType);
  results.AddMember("results", pairs, pool);
  document->AddMember("queryResultSystemEvents", results, pool);
}

void Take(const Value& value, std::string* text) { *text = TextIn(value); }

void Take(const Value& value, std::int64_t* number) {
  const std::string_view text = TextIn(value);
  std::from_chars(text.data(), text.data() + text.size(), *number);
}

void Take(const Value& gid, GidValues* values) {
  SetBase64(gid["id"], &values->id);
  SetBase64(gid["dataStoreId"], &values->data_store_id);
  SetBase64(gid["serverId"], &values->server_id);
  SetBase64(gid["clusterId"], &values->cluster_id);
  values->type = NumberOf(gid["type"], kGidTypes);
}

void TakePayload(const Value& payload, EventValues* values) {
  switch (values->kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop:
      Take(payload["deviceId"], &values->motion.device_id);
      Take(payload["deviceGid"], &values->motion.device_gid);
      break;
    case EventKind::kPlateFound:
      Take(payload["deviceId"], &values->plate.device_id);
      Take(payload["deviceGid"], &values->plate.device_gid);
      Take(payload["licensePlate"], &values->plate.license_plate);
      values->plate.confidence = payload["confidence"].GetFloat();
      break;
    case EventKind::kAnalyticsStart:
      Take(payload["deviceGid"], &values->analytics.device_gid);
      Take(payload["analyticEventName"], &values->analytics.analytic_event_name);
      Take(payload["sensorName"], &values->analytics.sensor_name);
      values->analytics.activity = NumberOf(payload["activity"], kActivities);
      values->analytics.target_ids.clear();
      for (const Value& id : payload["targetIds"].GetArray()) {
        values->analytics.target_ids.push_back(id.GetUint());
      }
      break;
  }
}

void Take(const Value& event, EventValues* values) {
  Take(event["thisId"], &values->this_id);
  Take(event["linkedEventId"], &values->linked_event_id);
  Take(event["timestamp"], &values->timestamp);
  const Kind& kind = KindOf(event["eventType"]);
  values->kind = kind.kind;
  const Value& trigger = event["recordTriggerParams"];
  Take(trigger["prePostRecordTime"], &values->pre_post_record_time);
  values->is_pre_post = trigger["isPrePost"].GetBool();
  values->trigger_jiffy = trigger["triggerJiffy"].GetUint();
  values->is_trigger_jiffy = trigger["isTriggerJiffy"].GetBool();
  Take(event["originatingServerGid"], &values->originating_server_gid);
  Take(event["originatingEventId"], &values->originating_event_id);
  Take(event["originatingServerName"], &values->originating_server_name);
  TakePayload(event[TextOf(kind.payload)], values);
}

// Into values that are used again and keep the memory of their texts.
void Take(const rapidjson::Document& document, QueryResultValues* values) {
  Take(document["gid"], &values->gid);
  const auto pairs = document["queryResultSystemEvents"]["results"].GetArray();
  values->pairs.resize(pairs.Size());
  PairValues* next = values->pairs.data();
  for (const Value& pair : pairs) {
    Take(pair["event"], &next->event);
    const auto linked = pair.FindMember("linkedEvent");
    if (linked == pair.MemberEnd()) {
      next->linked_event.reset();
    } else {
      if (!next->linked_event) next->linked_event.emplace();
      Take(linked->value, &*next->linked_event);
    }
    ++next;
  }
}

void Parse(std::string_view json, rapidjson::Document* document) {
  document->Parse(json.data(), json.size());
  if (document->HasParseError()) throw std::runtime_error("RapidJSON: not JSON");
}

class Written : public Codec {
 protected:
  std::string_view Write(const rapidjson::Document& document) {
    json_.Clear();
    rapidjson::Writer<rapidjson::StringBuffer> writer(json_);
    document.Accept(writer);
    return {json_.GetString(), json_.GetSize()};
  }

 private:
  rapidjson::StringBuffer json_;
};

class WithStructures : public Written {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    rapidjson::Document document;
    Build(values, &document);
    return Write(document);
  }

  std::uint64_t Decode(std::string_view json) override {
    rapidjson::Document document;
    Parse(json, &document);
    Take(document, &read_);
    return SumOf(read_);
  }

 private:
  QueryResultValues read_;
};

// RapidJSON's part of it: writes a document that is built already, makes a document.
class Alone : public Written {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    if (built_of_ != &values) {
      written_ = rapidjson::Document();
      Build(values, &written_);
      built_of_ = &values;
    }
    return Write(written_);
  }

  std::uint64_t Decode(std::string_view json) override {
    rapidjson::Document document;
    Parse(json, &document);
    if (sum_ == 0) {
      QueryResultValues values;
      Take(document, &values);
      sum_ = SumOf(values);
    }
    return sum_;
  }

 private:
  const QueryResultValues* built_of_ = nullptr;
  std::uint64_t sum_ = 0;
  rapidjson::Document written_;
};

}  // namespace

std::unique_ptr<Codec> MakeRapidJsonMapping() { return std::make_unique<WithStructures>(); }
std::unique_ptr<Codec> MakeRapidJsonMappingAlone() { return std::make_unique<Alone>(); }

}  // namespace CmnSys::Bench
