// Bytes as hexadecimal text: dumps as they are pasted from logs and other tools, and our own.

#ifndef CMNSYS_TOOLS_FORMATS_HEX_DUMP_H_
#define CMNSYS_TOOLS_FORMATS_HEX_DUMP_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace CmnSys::Tool {

// Returns the bytes of each dump in a text, mostly one. Understood are
// - plain digits, two for each byte, with any of blanks , ; : - _ and line ends between bytes, the
//   prefixes 0x and \x, around all of it brackets, braces and quotes, and the declaration of a C
//   array as "xxd -i" writes it;
// - the dumps of xxd, hexdump -C, od -t x1, gdb's x/xb and network tools: an offset (hexadecimal,
//   decimal or octal) at the beginning of each line, bytes alone or in groups, a column of
//   characters at the end, and "*" for lines that repeat. Where the offset is 0 again, another dump
//   begins.
// Offsets are checked against the bytes, so that a line that got lost is noticed. A dump that can
// be read as different bytes is refused: offsets that fit to several bases, words whose order
// nothing tells, columns of characters that may be bytes, lists of numbers that may be decimal.
// Throws Failure, with line and column where it can, for anything else, and when there are more
// than `max_bytes` bytes; `name` is that of the input.
std::vector<std::string> ParseHexDumps(std::string_view text, const std::string& name,
                                       std::uint64_t max_bytes);

// Lines of a dump in the form of hexdump -C without its last line: offset, 16 bytes, characters.
// `offset` is that of the first byte. No bytes are a line with the offset and no characters.
std::string FormatHexDump(std::string_view bytes, std::uint64_t offset = 0);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_HEX_DUMP_H_
