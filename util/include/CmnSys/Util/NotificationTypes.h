// From a notification type to its payload.

#ifndef CMNSYS_UTIL_NOTIFICATION_TYPES_H_
#define CMNSYS_UTIL_NOTIFICATION_TYPES_H_

#include <google/protobuf/descriptor.h>

#include "CmnSys/Util/Export.h"
#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"

namespace CmnSys::Util {

// The field of Pb.CmnSys.Notifications.Notification that carries the payload of a notification
// type, or nullptr for NOTIFICATION_UNKNOWN and undefined numbers. Thread-safe. The descriptor
// lives until google::protobuf::ShutdownProtobufLibrary.
CMNSYSUTIL_EXPORT const google::protobuf::FieldDescriptor* PayloadFieldOf(
    Pb::CmnSys::Notifications::NotificationType type);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_NOTIFICATION_TYPES_H_
