#include "wire_format.h"

#include <google/protobuf/compiler/cpp/names.h>

#include "messages.h"

namespace CmnSys::Compiler {

using google::protobuf::FieldDescriptor;

std::uint32_t Tag(const FieldDescriptor* field, std::uint32_t wire_type) {
  return static_cast<std::uint32_t>(field->number()) << 3 | wire_type;
}

TypeInfo InfoOf(const FieldDescriptor* field) {
  switch (field->type()) {
    case FieldDescriptor::TYPE_INT32:
      return {kVarint, "::std::int32_t", "Int32", 4};
    case FieldDescriptor::TYPE_INT64:
      return {kVarint, "::std::int64_t", "Int64", 8};
    case FieldDescriptor::TYPE_UINT32:
      return {kVarint, "::std::uint32_t", "UInt32", 4};
    case FieldDescriptor::TYPE_UINT64:
      return {kVarint, "::std::uint64_t", "UInt64", 8};
    case FieldDescriptor::TYPE_SINT32:
      return {kVarint, "::std::int32_t", "SInt32", 4};
    case FieldDescriptor::TYPE_SINT64:
      return {kVarint, "::std::int64_t", "SInt64", 8};
    case FieldDescriptor::TYPE_BOOL:
      return {kVarint, "bool", "Bool", 1};
    case FieldDescriptor::TYPE_ENUM:
      return {kVarint, "", "", 4};
    case FieldDescriptor::TYPE_FIXED32:
      return {kFixed32, "::std::uint32_t", "Fixed32", 4};
    case FieldDescriptor::TYPE_SFIXED32:
      return {kFixed32, "::std::int32_t", "SFixed32", 4};
    case FieldDescriptor::TYPE_FLOAT:
      return {kFixed32, "float", "Float", 4};
    case FieldDescriptor::TYPE_FIXED64:
      return {kFixed64, "::std::uint64_t", "Fixed64", 8};
    case FieldDescriptor::TYPE_SFIXED64:
      return {kFixed64, "::std::int64_t", "SFixed64", 8};
    case FieldDescriptor::TYPE_DOUBLE:
      return {kFixed64, "double", "Double", 8};
    case FieldDescriptor::TYPE_STRING:
    case FieldDescriptor::TYPE_BYTES:
    case FieldDescriptor::TYPE_MESSAGE:
    case FieldDescriptor::TYPE_GROUP:
      return {kLengthDelimited, "::std::string_view", "", 8};
  }
  return {};
}

std::string CppType(const FieldDescriptor* field) {
  return IsEnum(field) ? google::protobuf::compiler::cpp::QualifiedClassName(field->enum_type())
                       : InfoOf(field).cpp_type;
}

}  // namespace CmnSys::Compiler
