#ifndef CMNSYS_TOOLS_IO_LINES_H_
#define CMNSYS_TOOLS_IO_LINES_H_

#include <cstdint>
#include <string_view>

namespace CmnSys::Tool {

// How many lines end in the text.
inline std::uint64_t CountLines(std::string_view text) {
  std::uint64_t count = 0;
  // Faster than to compare byte by byte.
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string_view::npos; ++at) ++count;
  return count;
}

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_LINES_H_
