// What differs between two messages.

#ifndef CMNSYS_TOOLS_ANALYSIS_DIFF_H_
#define CMNSYS_TOOLS_ANALYSIS_DIFF_H_

#include <google/protobuf/message.h>

#include <string>

namespace CmnSys::Tool {

struct Comparison {
  bool any_order = false;    // Ignores the order in repeated fields.
  bool equivalent = false;   // Takes an unset field for one that is set to its default.
  bool approximate = false;  // Ignores the last digits of float and double fields.
};

// The differences, one a line, empty when there are none.
std::string Differences(const Comparison& comparison, const google::protobuf::Message& left,
                        const google::protobuf::Message& right);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_ANALYSIS_DIFF_H_
