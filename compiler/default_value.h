// Default values of fields as C++ expressions.

#ifndef CMNSYS_COMPILER_DEFAULT_VALUE_H_
#define CMNSYS_COMPILER_DEFAULT_VALUE_H_

#include <google/protobuf/descriptor.h>

#include <string>

namespace CmnSys::Compiler {

// What a singular field reads as when it is unset, written with <limits> and <string_view>; empty
// for messages.
std::string DefaultValue(const google::protobuf::FieldDescriptor* field);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_DEFAULT_VALUE_H_
