// What is said of JSON that does not fit the message to read, and of a message that does not fit
// JSON.

#ifndef CMNSYS_UTIL_SRC_JSON_JSON_FAULTS_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_FAULTS_H_

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "json/json_number.h"

namespace CmnSys::Util {

// What a value of the field looks like: "a number (uint32)".
std::string Expected(const google::protobuf::FieldDescriptor& field);

// That the type has no field of this name, or no extension where it begins with "["; and the
// nearest that it has.
std::string UnknownMember(const google::protobuf::Descriptor& type, std::string_view name);

// That the type has no value of this name, and the nearest that it has.
std::string UnknownEnumValue(const google::protobuf::EnumDescriptor& type, std::string_view name);

// Why a number cannot be taken for the field; `result` is not kOk.
std::string NotTaken(const google::protobuf::FieldDescriptor& field, NumberResult result,
                     std::string_view text);

// Why a field with a tag cannot be written for messages of the type; the tag as json/wire_fields.h
// has it, and the field's number if it is a varint.
std::string UnknownField(const google::protobuf::Descriptor& type, std::uint64_t tag,
                         std::uint64_t varint);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_FAULTS_H_
