// The payload of an event as a value of RapidJSON.

#ifndef CMNSYS_BENCH_MESSAGES_RAPID_JSON_PAYLOAD_H_
#define CMNSYS_BENCH_MESSAGES_RAPID_JSON_PAYLOAD_H_

#include <rapidjson/document.h>

#include <cstdint>
#include <string_view>

#include "values/event_values.h"

namespace CmnSys::Bench {

// Refers to the text, which outlives the document.
inline rapidjson::Value TextOf(std::string_view text) {
  return rapidjson::Value(
      rapidjson::StringRef(text.data(), static_cast<rapidjson::SizeType>(text.size())));
}

// `Parts` tells how the values are written that not all JSON has alike: Gid(gid, pool), Real(float)
// and Activity(int).
template <typename Parts>
rapidjson::Value BuildPayload(const EventValues& values, rapidjson::Document::AllocatorType& pool) {
  rapidjson::Value payload(rapidjson::kObjectType);
  switch (values.kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop:
      payload.AddMember("deviceId", TextOf(values.motion.device_id), pool);
      payload.AddMember("deviceGid", Parts::Gid(values.motion.device_gid, pool), pool);
      break;
    case EventKind::kPlateFound:
      payload.AddMember("deviceId", TextOf(values.plate.device_id), pool);
      payload.AddMember("deviceGid", Parts::Gid(values.plate.device_gid, pool), pool);
      payload.AddMember("licensePlate", TextOf(values.plate.license_plate), pool);
      payload.AddMember("confidence", Parts::Real(values.plate.confidence), pool);
      break;
    case EventKind::kAnalyticsStart: {
      payload.AddMember("deviceGid", Parts::Gid(values.analytics.device_gid, pool), pool);
      payload.AddMember("analyticEventName", TextOf(values.analytics.analytic_event_name), pool);
      payload.AddMember("sensorName", TextOf(values.analytics.sensor_name), pool);
      payload.AddMember("activity", Parts::Activity(values.analytics.activity), pool);
      rapidjson::Value ids(rapidjson::kArrayType);
      for (const std::uint32_t id : values.analytics.target_ids) ids.PushBack(id, pool);
      payload.AddMember("targetIds", ids, pool);
      break;
    }
  }
  return payload;
}

}  // namespace CmnSys::Bench

#endif  // CMNSYS_BENCH_MESSAGES_RAPID_JSON_PAYLOAD_H_
