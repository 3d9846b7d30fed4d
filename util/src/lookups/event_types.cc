#include <unordered_map>

#include "CmnSys/Util/EventTypes.h"
#include "CmnSys/Util/Pairing.h"
#include "pairing/event_blocks.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using Pb::CmnSys::Events::Event;
using Pb::CmnSys::Events::EventCategory;
using Pb::CmnSys::Events::EventType;

namespace {

const std::unordered_map<const Descriptor*, EventType>& TypesByPayload() {
  static const auto* const types = [] {
    auto* result = new std::unordered_map<const Descriptor*, EventType>;
    const auto* const values = Pb::CmnSys::Events::EventType_descriptor();
    for (int i = 0; i < values->value_count(); ++i) {
      const int number = values->value(i)->number();
      const PayloadPath& payload = PayloadAt(Event::descriptor(), number);
      if (payload.empty()) continue;
      result->emplace(payload.back()->message_type(), static_cast<EventType>(number));
    }
    return result;
  }();
  return *types;
}

}  // namespace

EventCategory EventCategoryOf(EventType type) {
  int category = Pb::CmnSys::Events::EVENT_CATEGOTY_UNKNOWN;
  if (Pb::CmnSys::Events::EventType_IsValid(type)) {
    for (const EventBlock& block : kEventBlocks) {
      if (type >= block.first_type) ++category;
    }
  }
  return static_cast<EventCategory>(category);
}

std::optional<EventType> EventTypeOf(const Descriptor& payload) {
  const auto found = TypesByPayload().find(&payload);
  if (found == TypesByPayload().end()) return std::nullopt;
  return found->second;
}

}  // namespace CmnSys::Util
