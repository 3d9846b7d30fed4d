#ifndef CMNSYS_UTIL_SRC_JSON_JSON_NAMES_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_NAMES_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <string>
#include <string_view>
#include <unordered_map>

namespace CmnSys::Util {

// The names of fields in JSON. Where the JSON name of a field is the name of another field too, in
// either spelling, the field stands under its own name only. Remembers the types that it has looked
// at, whose descriptors must outlive it.
class JsonNames {
 public:
  // The JSON name of a field that is no extension.
  const std::string& NameOf(const google::protobuf::FieldDescriptor& field);

  // The field with that name, in either spelling, or nullptr. `likely` is the index at which it
  // probably stands.
  const google::protobuf::FieldDescriptor* FindField(const google::protobuf::Descriptor& type,
                                                     std::string_view name, int likely);

 private:
  // Whether two fields of the type share a name.
  bool HasClash(const google::protobuf::Descriptor& type);

  std::unordered_map<const google::protobuf::Descriptor*, bool> clashes_;
};

// The name under which an entry of a map stands.
std::string MapKeyText(const google::protobuf::Message& entry,
                       const google::protobuf::FieldDescriptor* key);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_NAMES_H_
