#ifndef CMNSYS_UTIL_SRC_JSON_JSON_NAMES_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_NAMES_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <string>
#include <string_view>
#include <unordered_map>

namespace CmnSys::Util {

// Finds out whether two fields of a type share a name in JSON, in either spelling. Remembers the
// types that it has looked at, whose descriptors must outlive it; those of generated classes are
// remembered by the thread.
class JsonNameClashes {
 public:
  bool In(const google::protobuf::Descriptor& type);

 private:
  std::unordered_map<const google::protobuf::Descriptor*, bool> clashes_;
};

// The JSON name of a field that is no extension; where that is the name of another field too, the
// field's own. `clash` tells whether the type has such fields.
const std::string& JsonNameOf(const google::protobuf::FieldDescriptor& field, bool clash);

// The field with that name, in either spelling, or nullptr. `likely` is the index at which it
// probably stands.
const google::protobuf::FieldDescriptor* FindJsonField(const google::protobuf::Descriptor& type,
                                                       std::string_view name, int likely,
                                                       bool clash);

// The name under which an entry of a map stands.
std::string MapKeyText(const google::protobuf::Message& entry,
                       const google::protobuf::FieldDescriptor* key);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_NAMES_H_
