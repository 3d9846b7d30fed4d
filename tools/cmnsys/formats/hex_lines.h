// What the readers of hexadecimal text share.

#ifndef CMNSYS_TOOLS_FORMATS_HEX_LINES_H_
#define CMNSYS_TOOLS_FORMATS_HEX_LINES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "io/failure.h"

namespace CmnSys::Tool {

constexpr std::string_view kHexBlanks = " \t";

struct HexLine {
  std::size_t number = 0;  // From 1.
  std::string_view text;

  // The error at a column, counted from 0. `name` is that of the input.
  Failure Wrong(const std::string& name, std::size_t column, const std::string& reason) const;
};

// The value of a hexadecimal digit, or -1.
int HexDigit(char c);

// The hexadecimal digits that begin at a position.
std::string_view HexDigitsAt(std::string_view text, std::size_t position);

// Whether nothing or a blank stands at a position.
bool IsApart(std::string_view text, std::size_t position);

// Appends the bytes of an even number of digits.
void AppendHexPairs(std::string_view digits, std::string* bytes);

// Whether text that stands two or more blanks behind bytes is a column of characters that shows
// them, as dumps have it. Blanks at its end may be missing, and may stand as dots.
bool ShowsBytes(std::string_view text, std::string_view bytes);

// Whether the text could be bytes of a dump too: groups of digits, blanks between them.
bool LooksLikeBytes(std::string_view text);

// Where between a column's earliest beginning `from` and `to`, its first character that is not
// blank, it begins so that it shows the bytes, or npos. Lines of dumps are short: long ones have no
// column.
std::size_t FindColumn(std::string_view text, std::size_t from, std::size_t to,
                       std::string_view bytes);

// Throws Failure when there are more bytes than allowed.
void CheckHexSize(std::size_t size, const std::string& name, std::uint64_t max_bytes);

// Whether the lines begin with offsets rather than with bytes.
bool HasOffsets(const std::vector<HexLine>& lines);

// Whether the line begins with the offset 0.
bool BeginsAtZero(const HexLine& line);

// The bytes of lines with offsets, and of lines that hold nothing but bytes and what stands between
// and around them.
std::string BytesWithOffsets(const std::vector<HexLine>& lines, const std::string& name,
                             std::uint64_t max_bytes);
std::string PlainBytes(const std::vector<HexLine>& lines, const std::string& name,
                       std::uint64_t max_bytes);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_HEX_LINES_H_
