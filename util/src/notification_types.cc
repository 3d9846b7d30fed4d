#include "CmnSys/Util/NotificationTypes.h"
#include "pairings.h"

namespace CmnSys::Util {

const google::protobuf::FieldDescriptor* PayloadFieldOf(
    Pb::CmnSys::Notifications::NotificationType type) {
  return FindPayloadField(Pb::CmnSys::Notifications::Notification::descriptor(), type);
}

}  // namespace CmnSys::Util
