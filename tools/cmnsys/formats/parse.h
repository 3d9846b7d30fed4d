// Turning input into messages, with errors that tell where and why it fails.

#ifndef CMNSYS_TOOLS_FORMATS_PARSE_H_
#define CMNSYS_TOOLS_FORMATS_PARSE_H_

#include <google/protobuf/message.h>

#include <string>

#include "io/input.h"

namespace CmnSys::Tool {

// Each reads the whole of `input`, which was read by these options, into the message. They throw
// Failure, with the name of the input, when it is malformed or nested too deep. `first_line` is the
// number of the text's first line in the input.
void ParseBinary(const std::string& input, const InputOptions& options,
                 google::protobuf::Message* message);
void ParseText(const std::string& input, const InputOptions& options,
               google::protobuf::Message* message, int first_line = 1);

// Editors of other systems write it in front of a text.
void DropByteOrderMark(std::string* text);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_PARSE_H_
