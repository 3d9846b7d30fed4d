// What a filter's condition compares a field with.

#ifndef CMNSYS_TOOLS_FILTER_LITERAL_H_
#define CMNSYS_TOOLS_FILTER_LITERAL_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <string_view>
#include <vector>

#include "filter/expression.h"
#include "filter/lexer.h"

namespace CmnSys::Tool {

// The value that the token means for the field, which is no message. Throws Failure, with the place
// in the condition, when it cannot be compared with it by the operator.
Literal ParseLiteral(std::string_view condition, const Token& token,
                     const google::protobuf::FieldDescriptor& field, Operator op);

// "; the nearest: A, B", or nothing when nothing is near.
std::string NearestText(const std::vector<std::string>& nearest);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FILTER_LITERAL_H_
