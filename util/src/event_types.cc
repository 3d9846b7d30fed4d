#include <unordered_map>

#include "CmnSys/Util/EventTypes.h"
#include "event_blocks.h"
#include "pairings.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using Pb::CmnSys::Events::Event;
using Pb::CmnSys::Events::EventCategory;
using Pb::CmnSys::Events::EventType;

namespace {

const std::unordered_map<const Descriptor*, EventType>& TypesByPayload() {
  static const auto* const types = [] {
    auto* result = new std::unordered_map<const Descriptor*, EventType>;
    const auto* const values = Pb::CmnSys::Events::EventType_descriptor();
    for (int i = 0; i < values->value_count(); ++i) {
      const auto type = static_cast<EventType>(values->value(i)->number());
      if (const Descriptor* payload = PayloadOf(type)) result->emplace(payload, type);
    }
    return result;
  }();
  return *types;
}

}  // namespace

EventCategory CategoryOf(EventType type) {
  int category = Pb::CmnSys::Events::EVENT_CATEGOTY_UNKNOWN;
  if (Pb::CmnSys::Events::EventType_IsValid(type)) {
    for (const EventBlock& block : kEventBlocks) {
      if (type >= block.first_type) ++category;
    }
  }
  return static_cast<EventCategory>(category);
}

const FieldDescriptor* ExtensionOf(EventType type) {
  return FindPayloadField(Event::descriptor(), type);
}

const Descriptor* PayloadOf(EventType type) {
  const FieldDescriptor* const extension = ExtensionOf(type);
  return extension == nullptr ? nullptr : extension->message_type();
}

std::optional<EventType> EventTypeOf(const FieldDescriptor& extension) {
  const Descriptor* const payload = extension.message_type();
  if (payload == nullptr) return std::nullopt;
  const std::optional<EventType> type = EventTypeOf(*payload);
  // A field elsewhere may hold the same message; only the extension is the payload.
  return type && ExtensionOf(*type) == &extension ? type : std::nullopt;
}

std::optional<EventType> EventTypeOf(const Descriptor& payload) {
  const auto found = TypesByPayload().find(&payload);
  if (found == TypesByPayload().end()) return std::nullopt;
  return found->second;
}

}  // namespace CmnSys::Util
