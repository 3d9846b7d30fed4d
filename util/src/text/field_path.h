#ifndef CMNSYS_UTIL_SRC_TEXT_FIELD_PATH_H_
#define CMNSYS_UTIL_SRC_TEXT_FIELD_PATH_H_

#include <google/protobuf/descriptor.h>

#include <string>

namespace CmnSys::Util {

// The name of a field as paths and the text format have it: an extension by its full name in
// brackets.
inline std::string FieldName(const google::protobuf::FieldDescriptor& field) {
  return field.is_extension() ? "[" + field.full_name() + "]" : field.name();
}

// Adds a field to a path of names joined by dots: "a.[b.c].d".
inline void AppendField(const google::protobuf::FieldDescriptor& field, std::string* path) {
  if (!path->empty()) *path += '.';
  *path += FieldName(field);
}

// Adds the index of a repeated field's element.
inline void AppendIndex(int index, std::string* path) {
  *path += "[" + std::to_string(index) + "]";
}

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_TEXT_FIELD_PATH_H_
