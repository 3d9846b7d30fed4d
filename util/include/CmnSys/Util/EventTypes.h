// From an event type to its category, and from a payload to its event type.
//
// An event carries its payload as an extension of the envelope Pb.CmnSys.Events.Event, one for each
// event type but a few that have none; PayloadAt in Pairing.h tells which. All functions are
// thread-safe and answer in constant time after the first call, which builds their tables.

#ifndef CMNSYS_UTIL_EVENT_TYPES_H_
#define CMNSYS_UTIL_EVENT_TYPES_H_

#include <google/protobuf/descriptor.h>

#include <optional>

#include "CmnSys/Util/Export.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"

namespace CmnSys::Util {

// The category of an event type. EVENT_CATEGOTY_UNKNOWN for EVENT_ALL, EVENT_UNKNOWN and numbers
// that EventType does not define.
CMNSYSUTIL_EXPORT Pb::CmnSys::Events::EventCategory EventCategoryOf(
    Pb::CmnSys::Events::EventType type);

// The event type whose payload is the given message, or nothing for any other message.
CMNSYSUTIL_EXPORT std::optional<Pb::CmnSys::Events::EventType> EventTypeOf(
    const google::protobuf::Descriptor& payload);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_EVENT_TYPES_H_
