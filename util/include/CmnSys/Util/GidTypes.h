// The kinds of object that a Gid names, in words.

#ifndef CMNSYS_UTIL_GID_TYPES_H_
#define CMNSYS_UTIL_GID_TYPES_H_

#include <string_view>

#include "CmnSys/Util/Export.h"
#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"

namespace CmnSys::Util {

// The kind in plain English, singular and in lower case: "saved view" for GID_TYPE_SAVED_VIEW;
// "unknown" for GID_TYPE_UNKNOWN and undefined numbers. For logs and messages, not for translation.
// The text lives as long as the process. Thread-safe.
CMNSYSUTIL_EXPORT std::string_view GidTypeInWords(Pb::CmnSys::GidType type);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_GID_TYPES_H_
