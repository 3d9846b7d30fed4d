#include "json/bytes_text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

using PairTable = std::array<std::array<char, 2>, 64 * 64>;

constexpr PairTable MakePairTable() {
  PairTable table = {};
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = {kBase64[i / 64], kBase64[i % 64]};
  return table;
}

// Two characters at a time.
constexpr PairTable kBase64Pairs = MakePairTable();

}  // namespace

char* WriteBase64(std::string_view bytes, char* text) {
  const char* next = bytes.data();
  const auto take = [&next] {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(*next++));
  };
  const auto put = [&text](std::uint32_t bits) {
    std::memcpy(text, kBase64Pairs[bits & 0xfff].data(), 2);
    text += 2;
  };
  std::size_t left = bytes.size();
  for (; left >= 3; left -= 3) {
    std::uint32_t bits = take() << 16;
    bits |= take() << 8;
    bits |= take();
    put(bits >> 12);
    put(bits);
  }
  if (left == 0) return text;
  std::uint32_t bits = take() << 16;
  if (left == 2) bits |= take() << 8;
  put(bits >> 12);
  put(bits);
  for (std::size_t i = left; i < 3; ++i) text[static_cast<std::ptrdiff_t>(i) - 3] = '=';
  return text;
}

char* WriteHexadecimal(std::string_view bytes, char* text) {
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    *text++ = kHexadecimal[byte >> 4];
    *text++ = kHexadecimal[byte & 15];
  }
  return text;
}

std::string ToHexadecimal(std::string_view bytes) {
  std::string text(2 * bytes.size(), '\0');
  WriteHexadecimal(bytes, text.data());
  return text;
}

char* ReadBase64(std::string_view text, char* bytes) {
  if (text.size() % 4 == 0) {
    for (int padding = 0; padding < 2 && !text.empty() && text.back() == '='; ++padding) {
      text.remove_suffix(1);
    }
  }
  if (text.size() % 4 == 1) return nullptr;
  const auto* next = reinterpret_cast<const unsigned char*>(text.data());
  const auto put = [&bytes](std::uint32_t byte) { *bytes++ = static_cast<char>(byte); };
  std::size_t left = text.size();
  std::uint32_t all = 0;  // The digits, of which kNoDigit has bits that no other has.
  const auto take = [&next, &all] {
    const std::uint32_t digit = kBase64Digits[*next++];
    all |= digit;
    return digit;
  };
  for (; left >= 4; left -= 4) {
    std::uint32_t bits = take() << 18;
    bits |= take() << 12;
    bits |= take() << 6;
    bits |= take();
    put(bits >> 16);
    put(bits >> 8);
    put(bits);
  }
  std::uint32_t rest = 0;  // Bits that stand for no byte.
  if (left > 0) {
    std::uint32_t bits = take() << 18;
    bits |= take() << 12;
    put(bits >> 16);
    rest = bits & 0xffff;
    if (left == 3) {
      bits |= take() << 6;
      put(bits >> 8);
      rest = bits & 0xff;
    }
  }
  // Left-over bits other than 0: the text was cut or is none.
  return all < 64 && rest == 0 ? bytes : nullptr;
}

char* ReadHexadecimal(std::string_view text, char* bytes) {
  if (text.size() % 2 != 0) return nullptr;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const std::uint8_t high = kHexadecimalDigits[static_cast<unsigned char>(text[i])];
    const std::uint8_t low = kHexadecimalDigits[static_cast<unsigned char>(text[i + 1])];
    if (high == kNoDigit || low == kNoDigit) return nullptr;
    *bytes++ = static_cast<char>(high << 4 | low);
  }
  return bytes;
}

}  // namespace CmnSys::Util
