// What selector values and payloads mean to the library, beyond their names and comments.

#ifndef CMNSYS_TOOLS_SCHEMA_MEANING_H_
#define CMNSYS_TOOLS_SCHEMA_MEANING_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

namespace CmnSys::Tool {

// The name of a value with its number: "GID_TYPE_SERVER (2)".
std::string NameAndNumber(const google::protobuf::EnumValueDescriptor& value);

// Lines that tell the category of an event type, the payload that the value selects in each record,
// the results of a query type and the words for a gid type; none for other values.
std::vector<std::string> MeaningOf(const google::protobuf::EnumValueDescriptor& value);

// Lines that name the values that select the field or extension as their payload.
std::vector<std::string> MeaningOf(const google::protobuf::FieldDescriptor& field);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_SCHEMA_MEANING_H_
