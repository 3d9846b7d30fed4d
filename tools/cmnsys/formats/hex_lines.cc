#include "formats/hex_lines.h"

#include <algorithm>

namespace CmnSys::Tool {

Failure HexLine::Wrong(const std::string& name, std::size_t column,
                       const std::string& reason) const {
  return Failure(name + ":" + std::to_string(number) + ":" + std::to_string(column + 1) + ": " +
                 reason);
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string_view HexDigitsAt(std::string_view text, std::size_t position) {
  std::size_t end = position;
  while (end < text.size() && HexDigit(text[end]) >= 0) ++end;
  return text.substr(position, end - position);
}

bool IsApart(std::string_view text, std::size_t position) {
  return position >= text.size() || kHexBlanks.find(text[position]) != kHexBlanks.npos;
}

void AppendHexPairs(std::string_view digits, std::string* bytes) {
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    *bytes += static_cast<char>(HexDigit(digits[i]) * 16 + HexDigit(digits[i + 1]));
  }
}

bool ShowsBytes(std::string_view text, std::string_view bytes) {
  if (text.size() > bytes.size()) return false;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char shown = i < text.size() ? text[i] : ' ';
    const bool printable = bytes[i] >= ' ' && bytes[i] <= '~';
    if (shown != (printable ? bytes[i] : '.') && !(shown == '.' && bytes[i] == ' ')) return false;
  }
  return true;
}

bool LooksLikeBytes(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    if (IsApart(text, i)) {
      ++i;
      continue;
    }
    const std::string_view digits = HexDigitsAt(text, i);
    i += digits.size();
    if (digits.empty() || digits.size() % 2 != 0 || !IsApart(text, i)) return false;
  }
  return true;
}

std::size_t FindColumn(std::string_view text, std::size_t from, std::size_t to,
                       std::string_view bytes) {
  constexpr std::size_t kMostBytes = 256;
  if (bytes.size() > kMostBytes || text.size() - to > bytes.size()) return text.npos;
  for (std::size_t i = std::max(from, text.size() - bytes.size()); i <= to; ++i) {
    if (ShowsBytes(text.substr(i), bytes)) return i;
  }
  return text.npos;
}

void CheckHexSize(std::size_t size, const std::string& name, std::uint64_t max_bytes) {
  if (size > max_bytes) {
    throw Failure(name + " holds more than " + std::to_string(max_bytes) +
                  " bytes; raise the limit with --max-bytes if that is right");
  }
}

}  // namespace CmnSys::Tool
