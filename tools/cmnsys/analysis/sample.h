// The beginning of wire bytes whose type is not known, to be looked at in place of all.

#ifndef CMNSYS_TOOLS_ANALYSIS_SAMPLE_H_
#define CMNSYS_TOOLS_ANALYSIS_SAMPLE_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace CmnSys::Tool {

// A message made of the beginning of the given bytes, no longer than `limit` but for some ends of
// groups. It ends where a field ends; of a field that goes further the beginning is kept, and so on
// inside it when it looks like a message. `is_whole` tells that the message ends with the bytes.
// Bytes that are no message are cut anywhere.
std::string BeginningOfMessage(std::string_view bytes, std::size_t limit, bool is_whole);

// Whether the bytes are fields of any numbers, and nothing else.
bool IsWellFormed(std::string_view bytes);

// The records of a stream of delimited messages; the last one may be cut off unless `is_whole`.
// Empty when the bytes are no such stream.
std::vector<std::string_view> SplitDelimited(std::string_view bytes, bool is_whole);

// How many records these bytes have when they are such a stream and the first records, of which the
// last may be cut off, are well-formed; 0 otherwise.
std::size_t DelimitedRecords(std::string_view bytes, bool is_whole);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_ANALYSIS_SAMPLE_H_
