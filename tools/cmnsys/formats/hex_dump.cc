#include "formats/hex_dump.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <vector>

#include "formats/hex_lines.h"

namespace CmnSys::Tool {
namespace {

// The lines that are not blank.
std::vector<HexLine> SplitLines(std::string_view text) {
  std::vector<HexLine> lines;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.find_first_not_of(kHexBlanks) != line.npos) lines.push_back({number, line});
  }
  return lines;
}

// A C array with its declaration, as "xxd -i" writes one.
struct Declaration {
  std::size_t begin = 0;  // Of what stands between the braces.
  std::size_t end = 0;
  std::optional<std::uint64_t> size;  // That the declaration of its length tells.
};

std::optional<Declaration> FindDeclaration(std::string_view text) {
  const std::size_t brace = text.find('{');
  if (brace == text.npos) return std::nullopt;
  const std::string_view head = text.substr(0, brace);
  if (head.find("char ") == head.npos && head.find("uint8_t ") == head.npos) return std::nullopt;
  if (head.find('[') == head.npos || head.find('=') == head.npos) return std::nullopt;
  Declaration declaration;
  declaration.begin = brace + 1;
  declaration.end = std::min(text.find('}', brace), text.size());
  const std::size_t length = text.find("_len = ", declaration.end);
  if (length != text.npos) {
    const std::string_view digits = text.substr(length + 7, 20);
    std::uint64_t size = 0;
    const auto end = digits.data() + digits.size();
    if (std::from_chars(digits.data(), end, size).ec == std::errc()) declaration.size = size;
  }
  return declaration;
}

std::vector<std::string> DumpsWithOffsets(const std::vector<HexLine>& lines,
                                          const std::string& name, std::uint64_t max_bytes) {
  std::vector<std::string> dumps;
  for (auto begin = lines.begin(); begin != lines.end();) {
    const auto end = std::find_if(begin + 1, lines.end(), BeginsAtZero);
    dumps.push_back(BytesWithOffsets({begin, end}, name, max_bytes));
    begin = end;
  }
  return dumps;
}

}  // namespace

std::vector<std::string> ParseHexDumps(std::string_view text, const std::string& name,
                                       std::uint64_t max_bytes) {
  const std::vector<HexLine> lines = SplitLines(text);
  if (HasOffsets(lines)) return DumpsWithOffsets(lines, name, max_bytes);
  const std::optional<Declaration> declaration = FindDeclaration(text);
  if (!declaration) return {PlainBytes(lines, name, max_bytes)};
  // Blanks in place of the declaration leave lines and columns as they are.
  std::string inner(text.substr(0, declaration->end));
  std::replace_if(
      inner.begin(), inner.begin() + static_cast<std::ptrdiff_t>(declaration->begin),
      [](char c) { return c != '\n'; }, ' ');
  const std::string bytes = PlainBytes(SplitLines(inner), name, max_bytes);
  if (declaration->size && *declaration->size != bytes.size()) {
    throw Failure(name + " declares " + std::to_string(*declaration->size) + " bytes but holds " +
                  std::to_string(bytes.size()));
  }
  return {bytes};
}

std::string FormatHexDump(std::string_view bytes, std::uint64_t offset) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  constexpr std::size_t kPerLine = 16;
  constexpr std::size_t kLineLength = 79;  // With an offset of eight digits.
  const auto digits_of_offset = [](std::uint64_t value) {
    std::size_t digits = 8;
    while (digits < 16 && value >> (4 * digits) != 0) ++digits;
    return digits;
  };
  std::string dump;
  dump.reserve((bytes.size() / kPerLine + 1) * kLineLength);
  std::size_t i = 0;
  do {
    const std::string_view line = bytes.substr(i, kPerLine);
    for (std::size_t digit = digits_of_offset(offset + i); digit-- > 0;) {
      dump += kDigits[(offset + i) >> (4 * digit) & 0xf];
    }
    // Two blanks, two groups of eight bytes with a blank behind each byte, a blank before the
    // second group and one before the characters.
    std::array<char, 3 * kPerLine + 3> columns;
    columns.fill(' ');
    char* at = columns.data() + 2;
    for (std::size_t j = 0; j < line.size(); ++j) {
      const auto byte = static_cast<unsigned char>(line[j]);
      if (j == kPerLine / 2) ++at;
      *at++ = kDigits[byte >> 4];
      *at++ = kDigits[byte & 0xf];
      ++at;
    }
    dump.append(columns.data(), columns.size());
    dump += " |";
    for (const char c : line) dump += c >= ' ' && c <= '~' ? c : '.';
    dump += "|\n";
    i += kPerLine;
  } while (i < bytes.size());
  return dump;
}

}  // namespace CmnSys::Tool
