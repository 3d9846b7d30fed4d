// What an input may be that is not what it was read as, and how it is read then.

#ifndef CMNSYS_TOOLS_FORMATS_HINT_H_
#define CMNSYS_TOOLS_FORMATS_HINT_H_

#include <string>

namespace CmnSys::Tool {

// To be appended to the error about bytes that are no message: they may be text of some kind, a
// delimited stream, or have the five bytes in front that gRPC sends. Empty when they look like none
// of these. Unless `is_whole`, they are the beginning of the input.
std::string HintAtBytes(const std::string& bytes, bool is_whole = true);

// The same for a text that is not text format: JSON or a hex dump.
std::string HintAtText(const std::string& text);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_HINT_H_
