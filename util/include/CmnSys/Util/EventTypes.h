// From an event type to its category and payload, and back.
//
// An event carries its payload as an extension of the envelope Pb.CmnSys.Events.Event, one for each
// event type but a few that have none. All functions are thread-safe and answer in constant time
// after the first call, which builds their tables. The descriptors live until
// google::protobuf::ShutdownProtobufLibrary.

#ifndef CMNSYS_UTIL_EVENT_TYPES_H_
#define CMNSYS_UTIL_EVENT_TYPES_H_

#include <google/protobuf/descriptor.h>

#include <optional>

#include "CmnSys/Util/Export.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"

namespace CmnSys::Util {

// The category of an event type. EVENT_CATEGOTY_UNKNOWN for EVENT_ALL, EVENT_UNKNOWN and numbers
// that EventType does not define.
CMNSYSUTIL_EXPORT Pb::CmnSys::Events::EventCategory CategoryOf(Pb::CmnSys::Events::EventType type);

// The extension of Event that carries the payload of an event type, or nullptr for a type that has
// no payload.
CMNSYSUTIL_EXPORT const google::protobuf::FieldDescriptor* ExtensionOf(
    Pb::CmnSys::Events::EventType type);

// The payload message of an event type, or nullptr for a type that has no payload.
CMNSYSUTIL_EXPORT const google::protobuf::Descriptor* PayloadOf(Pb::CmnSys::Events::EventType type);

// The event type whose payload the given extension of Event carries, or nothing for any other
// field.
CMNSYSUTIL_EXPORT std::optional<Pb::CmnSys::Events::EventType> EventTypeOf(
    const google::protobuf::FieldDescriptor& extension);

// The event type whose payload is the given message, or nothing for any other message.
CMNSYSUTIL_EXPORT std::optional<Pb::CmnSys::Events::EventType> EventTypeOf(
    const google::protobuf::Descriptor& payload);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_EVENT_TYPES_H_
