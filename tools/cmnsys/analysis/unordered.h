// Repeated fields compared as sets, in a time that grows with their size and not with its square.

#ifndef CMNSYS_TOOLS_ANALYSIS_UNORDERED_H_
#define CMNSYS_TOOLS_ANALYSIS_UNORDERED_H_

#include <google/protobuf/message.h>
#include <google/protobuf/util/message_differencer.h>

namespace CmnSys::Tool {

// Clears the repeated fields of both messages, those in sub-messages that both have included, and
// reports each element that has no equal on the other side. Elements are equal whatever the order
// in their own repeated fields; with `equivalent`, an unset field equals one that is set to its
// default. NaN equals NaN.
void TakeOutRepeated(bool equivalent, google::protobuf::Message* left,
                     google::protobuf::Message* right,
                     google::protobuf::util::MessageDifferencer::Reporter* reporter);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_ANALYSIS_UNORDERED_H_
