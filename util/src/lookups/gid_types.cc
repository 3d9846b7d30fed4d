#include "CmnSys/Util/GidTypes.h"

namespace CmnSys::Util {

std::string_view GidTypeInWords(Pb::CmnSys::GidType type) {
  switch (type) {
    case Pb::CmnSys::GID_TYPE_UNKNOWN:
      return "unknown";
    case Pb::CmnSys::GID_TYPE_CLUSTER:
      return "cluster";
    case Pb::CmnSys::GID_TYPE_SERVER:
      return "server";
    case Pb::CmnSys::GID_TYPE_SAVED_VIEW:
      return "saved view";
    case Pb::CmnSys::GID_TYPE_MAP:
      return "map";
    case Pb::CmnSys::GID_TYPE_WEB_LINK:
      return "web link";
    case Pb::CmnSys::GID_TYPE_SITE_VIEW:
      return "site view";
    case Pb::CmnSys::GID_TYPE_SITE_GROUP:
      return "site group";
    case Pb::CmnSys::GID_TYPE_LOGIN_SESSION:
      return "login session";
    case Pb::CmnSys::GID_TYPE_DATA_STORE:
      return "data store";
    case Pb::CmnSys::GID_TYPE_DEVICE:
      return "device";
    case Pb::CmnSys::GID_TYPE_TEXT_SOURCE:
      return "text source";
    case Pb::CmnSys::GID_TYPE_ALARM:
      return "alarm";
    case Pb::CmnSys::GID_TYPE_RULE:
      return "rule";
    case Pb::CmnSys::GID_TYPE_BOOKMARK:
      return "bookmark";
    case Pb::CmnSys::GID_TYPE_USER:
      return "user";
    case Pb::CmnSys::GID_TYPE_LOCK:
      return "lock";
    case Pb::CmnSys::GID_TYPE_NOTIFICATION:
      return "notification";
    case Pb::CmnSys::GID_TYPE_QUERY:
      return "query";
    case Pb::CmnSys::GID_TYPE_LINK:
      return "link";
    case Pb::CmnSys::GID_TYPE_GROUP:
      return "user group";
    case Pb::CmnSys::GID_TYPE_CLIENT_APPLICATION:
      return "client application";
    case Pb::CmnSys::GID_TYPE_BACKUP:
      return "backup";
    case Pb::CmnSys::GID_TYPE_RECORDING_SCHEDULE_TEMPLATE:
      return "recording schedule template";
    case Pb::CmnSys::GID_TYPE_SHARED_VIEW_SESSION:
      return "shared view session";
    case Pb::CmnSys::GID_TYPE_SHARED_VIEW:
      return "shared view";
    case Pb::CmnSys::GID_TYPE_WATCH_GROUP:
      return "watch group";
    case Pb::CmnSys::GID_TYPE_WATCH_ITEM:
      return "watch item";
    case Pb::CmnSys::GID_TYPE_DATA_FORMAT:
      return "data format";
    case Pb::CmnSys::GID_TYPE_LPR_WATCH_LIST:
      return "licence-plate watch list";
    case Pb::CmnSys::GID_TYPE_LPR_CHANNEL:
      return "licence-plate recognition channel";
    case Pb::CmnSys::GID_TYPE_TEACHMARKER:
      return "teach marker";
    case Pb::CmnSys::GID_TYPE_INSTALLER:
      return "installer";
  }
  return "unknown";
}

}  // namespace CmnSys::Util
