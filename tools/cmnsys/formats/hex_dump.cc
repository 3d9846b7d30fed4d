#include "formats/hex_dump.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <optional>
#include <vector>

#include "io/failure.h"

namespace CmnSys::Tool {
namespace {

constexpr std::string_view kBlanks = " \t";

int DigitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string_view DigitsAt(std::string_view text, std::size_t position) {
  std::size_t end = position;
  while (end < text.size() && DigitOf(text[end]) >= 0) ++end;
  return text.substr(position, end - position);
}

bool IsPrintable(char c) { return c >= ' ' && c <= '~'; }

void AppendPairs(std::string_view digits, std::string* bytes) {
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    *bytes += static_cast<char>(DigitOf(digits[i]) * 16 + DigitOf(digits[i + 1]));
  }
}

struct Line {
  std::size_t number = 0;
  std::string_view text;

  Failure Wrong(const std::string& name, std::size_t column, const std::string& reason) const {
    return Failure(name + ":" + std::to_string(number) + ":" + std::to_string(column + 1) + ": " +
                   reason);
  }
};

// The lines that are not blank.
std::vector<Line> SplitLines(std::string_view text) {
  std::vector<Line> lines;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.find_first_not_of(kBlanks) != std::string_view::npos) lines.push_back({number, line});
  }
  return lines;
}

void CheckSize(const std::string& bytes, const std::string& name, std::uint64_t max_bytes) {
  if (bytes.size() > max_bytes) {
    throw Failure(name + " holds more than " + std::to_string(max_bytes) +
                  " bytes; raise the limit with --max-bytes if that is right");
  }
}

// The offset at the beginning of a line: its digits, and where the rest begins.
struct Offset {
  std::string_view digits;
  std::size_t end = 0;
  bool colon = false;
};

std::optional<Offset> FindOffset(std::string_view line) {
  constexpr std::size_t kFewestDigits = 4;
  std::size_t start = std::min(line.find_first_not_of(kBlanks), line.size());
  if (line.substr(start, 2) == "0x") start += 2;
  Offset offset;
  offset.digits = DigitsAt(line, start);
  offset.end = start + offset.digits.size();
  if (offset.digits.size() < kFewestDigits || offset.digits.size() > 16) return std::nullopt;
  if (offset.end < line.size() && line[offset.end] == ':') {
    offset.colon = true;
    ++offset.end;
  }
  const bool apart = offset.end == line.size() || kBlanks.find(line[offset.end]) != kBlanks.npos;
  if (!apart) return std::nullopt;
  return offset;
}

bool IsRepetition(std::string_view line) {
  const std::size_t start = line.find_first_not_of(kBlanks);
  return line[start] == '*' && line.find_first_not_of(kBlanks, start + 1) == line.npos;
}

// Whether the lines begin with offsets rather than with bytes.
bool HasOffsets(const std::vector<Line>& lines) {
  bool first = true;
  for (const Line& line : lines) {
    if (!first && IsRepetition(line.text)) continue;
    const std::optional<Offset> offset = FindOffset(line.text);
    if (!offset) return false;
    if (first && !offset->colon) {
      // Without a colon, bytes that stand alone tell an offset from a group of bytes; so does the
      // column of characters where there are no bytes.
      const std::size_t start = line.text.find_first_not_of(kBlanks, offset->end);
      if (start == line.text.npos) return false;
      if (line.text[start] != '|' && DigitsAt(line.text, start).size() != 2) return false;
    }
    first = false;
  }
  return !lines.empty();
}

// Whether a column of characters, as dumps have it, shows these bytes. Blanks at the end of a line
// get lost when it is pasted.
bool Shows(std::string_view column, std::string_view bytes) {
  if (column.size() > bytes.size()) return false;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char shown = i < column.size() ? column[i] : ' ';
    if (shown != (IsPrintable(bytes[i]) ? bytes[i] : '.')) return false;
  }
  return true;
}

bool BeginsAtZero(const Line& line) {
  const std::optional<Offset> offset = FindOffset(line.text);
  return offset && offset->digits.find_first_not_of('0') == offset->digits.npos;
}

// The bytes of one line from `position` on, up to a column of characters.
std::string BytesOf(const Line& line, std::size_t position, const std::string& name) {
  std::string bytes;
  const std::string_view text = line.text;
  while (true) {
    const std::size_t start = std::min(text.find_first_not_of(kBlanks, position), text.size());
    if (start == text.size()) return bytes;
    const std::string_view rest = text.substr(start);
    if (rest.front() == '|' || rest.front() == '>') return bytes;
    // The column begins two blanks behind the bytes, and may itself begin with blanks.
    if (!bytes.empty() && start >= position + 2) {
      for (std::size_t column = position + 1; column <= start; ++column) {
        if (Shows(text.substr(column), bytes)) return bytes;
      }
    }
    const std::string_view digits = DigitsAt(text, start);
    const std::size_t end = start + digits.size();
    const bool apart = end == text.size() || kBlanks.find(text[end]) != kBlanks.npos;
    if (digits.empty() || digits.size() % 2 != 0 || !apart) {
      // Characters that some program in between has changed.
      if (!bytes.empty() && start >= position + 2) return bytes;
      throw line.Wrong(name, start, "bytes are expected, two hexadecimal digits each");
    }
    AppendPairs(digits, &bytes);
    position = end;
  }
}

// The bytes of lines with offsets to the given base. Throws Failure where offset and bytes do not
// go together.
std::string BytesWithOffsets(const std::vector<Line>& lines, int radix, const std::string& name,
                             std::uint64_t max_bytes) {
  std::string bytes;
  std::string last_line;
  std::optional<std::uint64_t> base;
  bool repeat = false;
  for (const Line& line : lines) {
    if (base && IsRepetition(line.text)) {
      repeat = true;
      continue;
    }
    const Offset offset = *FindOffset(line.text);
    std::uint64_t value = 0;
    const char* const end = offset.digits.data() + offset.digits.size();
    if (std::from_chars(offset.digits.data(), end, value, radix).ptr != end) {
      throw line.Wrong(name, 0, "the offset is not a number to base " + std::to_string(radix));
    }
    if (!base) base = value;
    while (repeat && !last_line.empty() && value > *base + bytes.size()) {
      bytes += last_line;
      CheckSize(bytes, name, max_bytes);
    }
    repeat = false;
    if (value != *base + bytes.size()) {
      throw line.Wrong(name, 0,
                       "the offset is " + std::string(offset.digits) + " but " +
                           std::to_string(bytes.size()) +
                           " bytes stand above; is a line missing or cut off?");
    }
    last_line = BytesOf(line, offset.end, name);
    bytes += last_line;
    CheckSize(bytes, name, max_bytes);
  }
  if (repeat) {
    throw lines.back().Wrong(name, 0, "the dump ends here without telling how often to repeat");
  }
  return bytes;
}

std::string BytesWithAnyOffsets(const std::vector<Line>& lines, const std::string& name,
                                std::uint64_t max_bytes) {
  const Offset first = *FindOffset(lines.front().text);
  if (lines.size() == 1 && !first.colon && !BeginsAtZero(lines.front())) {
    throw lines.front().Wrong(name, 0,
                              std::string(first.digits) +
                                  " may be an offset or bytes; remove it, or write a colon after "
                                  "it if it is an offset");
  }
  for (const int radix : {16, 10, 8}) {
    // Nobody writes octal offsets with a colon; taking them for such would hide a missing line.
    if (radix == 8 && first.colon) continue;
    try {
      return BytesWithOffsets(lines, radix, name, max_bytes);
    } catch (const Failure&) {
      continue;
    }
  }
  // None of the bases fits; the usual one tells best what is wrong.
  return BytesWithOffsets(lines, 16, name, max_bytes);
}

// The bytes of lines that hold nothing but bytes and what stands between and around them.
std::string PlainBytes(const std::vector<Line>& lines, const std::string& name,
                       std::uint64_t max_bytes) {
  constexpr std::string_view kBetween = " \t,;:-_{}[]()\"'";
  std::string bytes;
  for (const Line& line : lines) {
    const std::string_view text = line.text;
    for (std::size_t i = 0; i < text.size();) {
      if (kBetween.find(text[i]) != kBetween.npos) {
        ++i;
        continue;
      }
      const std::string_view prefix = text.substr(i, 2);
      const bool prefixed = prefix == "0x" || prefix == "0X" || prefix == "\\x";
      if (prefixed) i += 2;
      const std::string_view digits = DigitsAt(text, i);
      if (digits.empty()) {
        throw line.Wrong(name, i,
                         text[i] == '*'
                             ? "without offsets nothing tells how often * repeats the line above; "
                               "dump with offsets"
                             : "bytes are expected, two hexadecimal digits each");
      }
      if (prefixed && digits.size() == 1) {
        bytes += static_cast<char>(DigitOf(digits[0]));
      } else if (digits.size() % 2 == 0) {
        AppendPairs(digits, &bytes);
      } else {
        throw line.Wrong(name, i,
                         "an odd number of hexadecimal digits stands here; each byte takes two. "
                         "Dump single bytes with xxd, \"hexdump -C\" or \"od -t x1\"");
      }
      i += digits.size();
    }
    CheckSize(bytes, name, max_bytes);
  }
  return bytes;
}

}  // namespace

std::vector<std::string> ParseHexDumps(std::string_view text, const std::string& name,
                                       std::uint64_t max_bytes) {
  const std::vector<Line> lines = SplitLines(text);
  if (!HasOffsets(lines)) return {PlainBytes(lines, name, max_bytes)};
  std::vector<std::string> dumps;
  for (auto begin = lines.begin(); begin != lines.end();) {
    const auto end = std::find_if(begin + 1, lines.end(), BeginsAtZero);
    dumps.push_back(BytesWithAnyOffsets({begin, end}, name, max_bytes));
    begin = end;
  }
  return dumps;
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
      characters += IsPrintable(line[j]) ? line[j] : '.';
    }
    dump += " |" + characters + "|\n";
    i += kPerLine;
  } while (i < bytes.size());
  return dump;
}

}  // namespace CmnSys::Tool
