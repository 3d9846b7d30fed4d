// Hexadecimal text without offsets.

#include <optional>

#include "formats/hex_lines.h"

namespace CmnSys::Tool {
namespace {

constexpr std::string_view kBetween = " \t,;:-_{}[]()\"'";

// Tells lists of decimal numbers, "10, 2, 56", from lists of bytes.
class ListWatch {
 public:
  void Number(std::string_view digits, bool prefixed) {
    ++numbers_;
    if (prefixed || (digits.size() > 1 && digits[0] == '0') ||
        digits.find_first_not_of("0123456789") != digits.npos) {
      hexadecimal_ = true;
    }
  }
  void Comma() { ++commas_; }

  bool MayBeDecimal() const { return !hexadecimal_ && numbers_ > 1 && commas_ + 1 >= numbers_; }

 private:
  std::size_t numbers_ = 0;
  std::size_t commas_ = 0;
  bool hexadecimal_ = false;
};

class Reader {
 public:
  Reader(const std::string& name, std::string* bytes) : name_(name), bytes_(bytes) {}

  void Read(const HexLine& line) {
    const std::string_view text = line.text;
    const std::size_t line_start = bytes_->size();
    for (std::size_t i = 0; i < text.size();) {
      if (kBetween.find(text[i]) == kBetween.npos) {
        i = ReadNumber(line, i);
        continue;
      }
      if (text[i] == ',') list_.Comma();
      if (kHexBlanks.find(text[i]) == kHexBlanks.npos) {
        ++i;
        continue;
      }
      const std::size_t next = text.find_first_not_of(kHexBlanks, i);
      if (next == text.npos) return;
      const std::string_view before = std::string_view(*bytes_).substr(line_start);
      if (next >= i + 2 && !before.empty() && FindColumn(text, i + 1, next, before) != text.npos) {
        if (!LooksLikeBytes(text.substr(next))) return;
        throw line.Wrong(name_, next,
                         "what stands here may be bytes or the characters of those before; remove "
                         "it in the latter case");
      }
      i = next;
    }
  }

  // Throws Failure for what only the whole text tells of its numbers.
  void Finish(const HexLine& first_line) const {
    if (list_.MayBeDecimal()) {
      throw first_line.Wrong(name_, 0,
                             "these numbers may be decimal; write 0x before each if they are "
                             "hexadecimal, and turn them into hexadecimal if they are not");
    }
    if (odd_line_) {
      throw odd_line_->Wrong(name_, odd_column_,
                             "an odd number of hexadecimal digits stands here; each byte takes "
                             "two. Dump single bytes with xxd, \"hexdump -C\" or \"od -t x1\"");
    }
  }

 private:
  // Reads the digits at a position and returns where they end.
  std::size_t ReadNumber(const HexLine& line, std::size_t i) {
    const std::string_view text = line.text;
    const std::string_view prefix = text.substr(i, 2);
    const bool prefixed = prefix == "0x" || prefix == "0X" || prefix == "\\x";
    if (prefixed) i += 2;
    const std::string_view digits = HexDigitsAt(text, i);
    if (digits.empty()) {
      throw line.Wrong(name_, i,
                       text.substr(i, 1) == "*"
                           ? "without offsets nothing tells how often * repeats the line above; "
                             "dump with offsets"
                           : "bytes are expected, two hexadecimal digits each");
    }
    list_.Number(digits, prefixed);
    if (prefixed && digits.size() == 1) {
      *bytes_ += static_cast<char>(HexDigit(digits[0]));
    } else if (digits.size() % 2 == 0) {
      AppendHexPairs(digits, bytes_);
    } else if (!odd_line_) {
      odd_line_ = line;
      odd_column_ = i;
    }
    return i + digits.size();
  }

  const std::string& name_;
  std::string* bytes_;
  ListWatch list_;
  std::optional<HexLine> odd_line_;
  std::size_t odd_column_ = 0;
};

}  // namespace

std::string PlainBytes(const std::vector<HexLine>& lines, const std::string& name,
                       std::uint64_t max_bytes) {
  std::string bytes;
  Reader reader(name, &bytes);
  for (const HexLine& line : lines) {
    reader.Read(line);
    CheckHexSize(bytes.size(), name, max_bytes);
  }
  if (!lines.empty()) reader.Finish(lines.front());
  return bytes;
}

}  // namespace CmnSys::Tool
