#include "default_value.h"

#include <google/protobuf/compiler/cpp/names.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

namespace CmnSys::Compiler {

using google::protobuf::FieldDescriptor;
using google::protobuf::compiler::cpp::QualifiedClassName;

namespace {

std::string Literal(double value, const char* type, int digits) {
  const std::string limits = std::string("::std::numeric_limits<") + type + ">::";
  if (std::isnan(value)) return limits + "quiet_NaN()";
  if (std::isinf(value)) return (value < 0 ? "-" : "") + limits + "infinity()";
  char text[40];
  std::snprintf(text, sizeof text, "%.*g", digits, value);
  return std::string("static_cast<") + type + ">(" + text + ")";
}

}  // namespace

std::string DefaultValue(const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      // The lowest number has no literal.
      return field->default_value_int32() == std::numeric_limits<std::int32_t>::min()
                 ? "::std::numeric_limits<::std::int32_t>::min()"
                 : std::to_string(field->default_value_int32());
    case FieldDescriptor::CPPTYPE_INT64:
      return field->default_value_int64() == std::numeric_limits<std::int64_t>::min()
                 ? "::std::numeric_limits<::std::int64_t>::min()"
                 : std::to_string(field->default_value_int64());
    case FieldDescriptor::CPPTYPE_UINT32:
      return std::to_string(field->default_value_uint32()) + "u";
    case FieldDescriptor::CPPTYPE_UINT64:
      return std::to_string(field->default_value_uint64()) + "u";
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return Literal(field->default_value_double(), "double", 17);
    case FieldDescriptor::CPPTYPE_FLOAT:
      return Literal(static_cast<double>(field->default_value_float()), "float", 9);
    case FieldDescriptor::CPPTYPE_BOOL:
      return field->default_value_bool() ? "true" : "false";
    case FieldDescriptor::CPPTYPE_ENUM:
      return "static_cast<" + QualifiedClassName(field->enum_type()) + ">(" +
             std::to_string(field->default_value_enum()->number()) + ")";
    case FieldDescriptor::CPPTYPE_STRING: {
      const std::string& text = field->default_value_string();
      if (text.empty()) return "::std::string_view()";
      std::string literal = "::std::string_view(\"";
      for (const char c : text) {
        char octal[8];
        std::snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned char>(c));
        literal += octal;
      }
      return literal + "\", " + std::to_string(text.size()) + ")";
    }
    case FieldDescriptor::CPPTYPE_MESSAGE:
      break;
  }
  return "";
}

}  // namespace CmnSys::Compiler
