#include "json/bytes_text.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace CmnSys::Util {
namespace {

constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kHexadecimal = "0123456789abcdef";
constexpr std::uint8_t kNoDigit = 0xff;

using DigitTable = std::array<std::uint8_t, 256>;

constexpr DigitTable MakeTable(std::string_view digits) {
  DigitTable table = {};
  for (std::uint8_t& value : table) value = kNoDigit;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    table[static_cast<unsigned char>(digits[i])] = static_cast<std::uint8_t>(i);
  }
  return table;
}

constexpr DigitTable MakeBase64Table() {
  DigitTable table = MakeTable(kBase64);
  table['-'] = table['+'];
  table['_'] = table['/'];
  return table;
}

constexpr DigitTable MakeHexadecimalTable() {
  DigitTable table = MakeTable(kHexadecimal);
  for (unsigned char c = 'a'; c <= 'f'; ++c) table[c - 'a' + 'A'] = table[c];
  return table;
}

constexpr DigitTable kBase64Digits = MakeBase64Table();
constexpr DigitTable kHexadecimalDigits = MakeHexadecimalTable();

}  // namespace

std::string ToBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::string_view group = bytes.substr(i, 3);
    std::uint32_t bits = 0;
    for (std::size_t j = 0; j < 3; ++j) {
      bits = bits << 8 | (j < group.size() ? static_cast<unsigned char>(group[j]) : 0U);
    }
    for (std::size_t j = 0; j < 4; ++j) {
      text += j <= group.size() ? kBase64[bits >> (18 - 6 * j) & 63] : '=';
    }
  }
  return text;
}

std::string ToHexadecimal(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kHexadecimal[byte >> 4];
    text += kHexadecimal[byte & 15];
  }
  return text;
}

std::optional<std::string> FromBase64(std::string_view text) {
  if (text.size() % 4 == 0) {
    for (int padding = 0; padding < 2 && !text.empty() && text.back() == '='; ++padding) {
      text.remove_suffix(1);
    }
  }
  if (text.size() % 4 == 1) return std::nullopt;
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3 + 2);
  std::uint32_t bits = 0;
  int count = 0;  // Of bits not yet written.
  for (const char c : text) {
    const std::uint8_t digit = kBase64Digits[static_cast<unsigned char>(c)];
    if (digit == kNoDigit) return std::nullopt;
    bits = bits << 6 | digit;
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes += static_cast<char>(bits >> count);
      bits &= (1U << count) - 1;
    }
  }
  // Left-over bits other than 0 stand for no byte; the text was cut or is none.
  if (bits != 0) return std::nullopt;
  return bytes;
}

std::optional<std::string> FromHexadecimal(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const std::uint8_t high = kHexadecimalDigits[static_cast<unsigned char>(text[i])];
    const std::uint8_t low = kHexadecimalDigits[static_cast<unsigned char>(text[i + 1])];
    if (high == kNoDigit || low == kNoDigit) return std::nullopt;
    bytes += static_cast<char>(high << 4 | low);
  }
  return bytes;
}

}  // namespace CmnSys::Util
