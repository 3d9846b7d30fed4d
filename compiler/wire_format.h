// How the values of fields stand on the wire and in generated code.

#ifndef CMNSYS_COMPILER_WIRE_FORMAT_H_
#define CMNSYS_COMPILER_WIRE_FORMAT_H_

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <string>

namespace CmnSys::Compiler {

// The wire types of tags.
constexpr std::uint32_t kVarint = 0;
constexpr std::uint32_t kFixed64 = 1;
constexpr std::uint32_t kLengthDelimited = 2;
constexpr std::uint32_t kFixed32 = 5;

std::uint32_t Tag(const google::protobuf::FieldDescriptor* field, std::uint32_t wire_type);

struct TypeInfo {
  std::uint32_t wire_type;
  const char* cpp_type;  // Empty for enums.
  const char* format;    // In CmnSys::View::internal; empty for enums, strings and messages.
  int bytes;             // In a view.
};

TypeInfo InfoOf(const google::protobuf::FieldDescriptor* field);

// The type of the field's values, for example "::std::int64_t" or "::Pb::CmnSys::GidType".
std::string CppType(const google::protobuf::FieldDescriptor* field);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_WIRE_FORMAT_H_
