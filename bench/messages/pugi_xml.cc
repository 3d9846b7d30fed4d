// pugixml by its document; fields are attributes, sub-messages elements.

#include <pugixml.hpp>
#include <stdexcept>
#include <string>

#include "messages/codec.h"
#include "messages/json_shape.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

using pugi::xml_node;

void Build(const GidValues& values, xml_node gid) {
  gid.append_attribute("id") = values.id.c_str();
  gid.append_attribute("dataStoreId") = values.data_store_id.c_str();
  gid.append_attribute("serverId") = values.server_id.c_str();
  gid.append_attribute("clusterId") = values.cluster_id.c_str();
  gid.append_attribute("type") = values.type;
}

void BuildPayload(const EventValues& values, xml_node payload) {
  switch (values.kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop:
      payload.append_attribute("deviceId") = values.motion.device_id.c_str();
      Build(values.motion.device_gid, payload.append_child("deviceGid"));
      break;
    case EventKind::kPlateFound:
      payload.append_attribute("deviceId") = values.plate.device_id.c_str();
      Build(values.plate.device_gid, payload.append_child("deviceGid"));
      payload.append_attribute("licensePlate") = values.plate.license_plate.c_str();
      payload.append_attribute("confidence") = values.plate.confidence;
      break;
    case EventKind::kAnalyticsStart:
      Build(values.analytics.device_gid, payload.append_child("deviceGid"));
      payload.append_attribute("analyticEventName") = values.analytics.analytic_event_name.c_str();
      payload.append_attribute("sensorName") = values.analytics.sensor_name.c_str();
      payload.append_attribute("activity") = values.analytics.activity;
      for (const std::uint32_t id : values.analytics.target_ids) {
        payload.append_child("targetId").text() = id;
      }
      break;
  }
}

void Build(const EventValues& values, xml_node event) {
  event.append_attribute("thisId") = static_cast<long long>(values.this_id);
  event.append_attribute("linkedEventId") = static_cast<long long>(values.linked_event_id);
  event.append_attribute("timestamp") = static_cast<long long>(values.timestamp);
  event.append_attribute("eventType") = static_cast<int>(values.kind);
  xml_node trigger = event.append_child("recordTriggerParams");
  trigger.append_attribute("prePostRecordTime") =
      static_cast<long long>(values.pre_post_record_time);
  trigger.append_attribute("isPrePost") = values.is_pre_post;
  trigger.append_attribute("triggerJiffy") = values.trigger_jiffy;
  trigger.append_attribute("isTriggerJiffy") = values.is_trigger_jiffy;
  Build(values.originating_server_gid, event.append_child("originatingServerGid"));
  event.append_attribute("originatingEventId") =
      static_cast<long long>(values.originating_event_id);
  event.append_attribute("originatingServerName") = values.originating_server_name.c_str();
  BuildPayload(values, event.append_child(PayloadMember(values.kind).data()));
}

void AddGid(xml_node gid, Sum* sum) {
  sum->Text(gid.attribute("id").value());
  sum->Text(gid.attribute("dataStoreId").value());
  sum->Text(gid.attribute("serverId").value());
  sum->Text(gid.attribute("clusterId").value());
  sum->Number(gid.attribute("type").as_int());
}

void AddPayload(EventKind kind, xml_node payload, Sum* sum) {
  AddGid(payload.child("deviceGid"), sum);
  switch (kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop:
      sum->Text(payload.attribute("deviceId").value());
      break;
    case EventKind::kPlateFound:
      sum->Text(payload.attribute("deviceId").value());
      sum->Text(payload.attribute("licensePlate").value());
      sum->Real(payload.attribute("confidence").as_float());
      break;
    case EventKind::kAnalyticsStart:
      sum->Text(payload.attribute("analyticEventName").value());
      sum->Text(payload.attribute("sensorName").value());
      sum->Number(payload.attribute("activity").as_int());
      for (const xml_node id : payload.children("targetId")) sum->Number(id.text().as_uint());
      break;
  }
}

void AddEvent(xml_node event, Sum* sum) {
  sum->Number(event.attribute("thisId").as_llong());
  sum->Number(event.attribute("linkedEventId").as_llong());
  sum->Number(event.attribute("timestamp").as_llong());
  const int type = event.attribute("eventType").as_int();
  sum->Number(type);
  const xml_node trigger = event.child("recordTriggerParams");
  sum->Number(trigger.attribute("prePostRecordTime").as_llong());
  sum->Number(trigger.attribute("isPrePost").as_bool() ? 1 : 0);
  sum->Number(trigger.attribute("triggerJiffy").as_uint());
  sum->Number(trigger.attribute("isTriggerJiffy").as_bool() ? 1 : 0);
  AddGid(event.child("originatingServerGid"), sum);
  sum->Number(event.attribute("originatingEventId").as_llong());
  sum->Text(event.attribute("originatingServerName").value());
  const auto kind = static_cast<EventKind>(type);
  AddPayload(kind, event.child(PayloadMember(kind).data()), sum);
}

struct StringWriter : pugi::xml_writer {
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }

  std::string text;
};

class Pugixml : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    document_.reset();
    xml_node result = document_.append_child("queryResult");
    Build(values.gid, result.append_child("gid"));
    for (const PairValues& pair_values : values.pairs) {
      xml_node pair = result.append_child("pair");
      Build(pair_values.event, pair.append_child("event"));
      if (pair_values.linked_event) {
        Build(*pair_values.linked_event, pair.append_child("linkedEvent"));
      }
    }
    xml_.text.clear();
    document_.save(xml_, "", pugi::format_raw);
    return xml_.text;
  }

  std::uint64_t Decode(std::string_view xml) override {
    if (!document_.load_buffer(xml.data(), xml.size())) {
      throw std::runtime_error("pugixml: not XML");
    }
    const xml_node result = document_.child("queryResult");
    Sum sum;
    AddGid(result.child("gid"), &sum);
    for (const xml_node pair : result.children("pair")) {
      AddEvent(pair.child("event"), &sum);
      if (const xml_node linked = pair.child("linkedEvent")) AddEvent(linked, &sum);
    }
    return sum.value();
  }

 private:
  pugi::xml_document document_;
  StringWriter xml_;
};

}  // namespace

std::unique_ptr<Codec> MakePugixml() { return std::make_unique<Pugixml>(); }

}  // namespace CmnSys::Bench
