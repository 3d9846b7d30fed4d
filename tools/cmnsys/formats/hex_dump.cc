#include "formats/hex_dump.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
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
  constexpr std::size_t kPerLine = 16;
  std::string dump;
  std::size_t i = 0;
  do {
    const std::string_view line = bytes.substr(i, kPerLine);
    std::array<char, 24> piece = {};
    std::snprintf(piece.data(), piece.size(), "%08" PRIx64 " ", offset + i);
    dump += piece.data();
    std::string characters;
    for (std::size_t j = 0; j < kPerLine; ++j) {
      if (j % 8 == 0) dump += ' ';
      if (j >= line.size()) {
        dump += "   ";
        continue;
      }
      std::snprintf(piece.data(), piece.size(), "%02x ", static_cast<unsigned char>(line[j]));
      dump += piece.data();
      characters += (line[j] >= ' ' && line[j] <= '~') ? line[j] : '.';
    }
    dump += " |" + characters + "|\n";
    i += kPerLine;
  } while (i < bytes.size());
  return dump;
}

}  // namespace CmnSys::Tool
