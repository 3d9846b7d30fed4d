#ifndef CMNSYS_UTIL_SRC_JSON_MAP_KEY_H_
#define CMNSYS_UTIL_SRC_JSON_MAP_KEY_H_

#include <google/protobuf/message.h>

#include <string>

namespace CmnSys::Util {

// The name under which an entry of a map stands.
std::string MapKeyText(const google::protobuf::Message& entry,
                       const google::protobuf::FieldDescriptor* key);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_MAP_KEY_H_
