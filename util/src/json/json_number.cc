#include "json/json_number.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <system_error>

namespace CmnSys::Util {
namespace {

// A decimal number as its parts: sign, digits without leading and trailing zeros, and the power of
// ten by which they are multiplied, so that "-1.50e3" is minus, "15" and 2. Zero has no digits.
struct Decimal {
  bool negative = false;
  std::string digits;
  std::int64_t exponent = 0;
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view TakeDigits(std::string_view* text) {
  const auto end = std::find_if_not(text->begin(), text->end(), IsDigit);
  const std::string_view digits = text->substr(0, static_cast<std::size_t>(end - text->begin()));
  text->remove_prefix(digits.size());
  return digits;
}

bool Take(std::string_view* text, char c) {
  if (text->empty() || text->front() != c) return false;
  text->remove_prefix(1);
  return true;
}

// The parts of a number as they are written.
struct Parts {
  bool negative = false;
  std::string_view whole;
  std::string_view fraction;
  bool negative_exponent = false;
  std::string_view exponent;
};

std::optional<Parts> Split(std::string_view text) {
  Parts parts;
  parts.negative = Take(&text, '-');
  parts.whole = TakeDigits(&text);
  if (parts.whole.empty() || (parts.whole.size() > 1 && parts.whole.front() == '0')) {
    return std::nullopt;
  }
  if (Take(&text, '.')) {
    parts.fraction = TakeDigits(&text);
    if (parts.fraction.empty()) return std::nullopt;
  }
  if (Take(&text, 'e') || Take(&text, 'E')) {
    parts.negative_exponent = Take(&text, '-');
    if (!parts.negative_exponent) Take(&text, '+');
    parts.exponent = TakeDigits(&text);
    if (parts.exponent.empty()) return std::nullopt;
  }
  if (!text.empty()) return std::nullopt;
  return parts;
}

std::optional<Decimal> ParseDecimal(std::string_view text) {
  const std::optional<Parts> parts = Split(text);
  if (!parts) return std::nullopt;
  Decimal decimal;
  decimal.negative = parts->negative;
  decimal.digits = parts->whole;
  decimal.digits += parts->fraction;
  if (!parts->exponent.empty()) {
    // An exponent that does not fit moves any number, which is at most 4 GB long, out of range.
    constexpr std::int64_t kHuge = std::int64_t{1} << 40;
    std::int64_t exponent = kHuge;
    std::from_chars(parts->exponent.data(), parts->exponent.data() + parts->exponent.size(),
                    exponent);
    exponent = std::min(exponent, kHuge);
    decimal.exponent = parts->negative_exponent ? -exponent : exponent;
  }
  decimal.exponent -= static_cast<std::int64_t>(parts->fraction.size());

  const std::size_t last = decimal.digits.find_last_not_of('0');
  const std::size_t kept = last == std::string::npos ? 0 : last + 1;
  decimal.exponent += static_cast<std::int64_t>(decimal.digits.size() - kept);
  decimal.digits.resize(kept);
  decimal.digits.erase(0, decimal.digits.find_first_not_of('0'));
  return decimal;
}

// Reads a whole number without fraction, exponent and leading zeros. Returns false for anything
// else, and for what the type cannot hold.
template <typename Integer>
bool ReadPlainInteger(std::string_view text, Integer* value) {
  const std::string_view digits = text.substr(!text.empty() && text.front() == '-' ? 1 : 0);
  if (digits.size() > 1 && digits.front() == '0') return false;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc() && stop == end;
}

}  // namespace

bool IsJsonNumber(std::string_view text) { return Split(text).has_value(); }

template <typename Integer>
NumberResult ParseInteger(std::string_view text, Integer* value) {
  if (ReadPlainInteger(text, value)) return NumberResult::kOk;
  std::optional<Decimal> decimal = ParseDecimal(text);
  if (!decimal) return NumberResult::kNoNumber;
  if (decimal->digits.empty()) {
    *value = 0;
    return NumberResult::kOk;
  }
  if (decimal->exponent < 0) return NumberResult::kNotWhole;
  constexpr std::int64_t kMostDigits = std::numeric_limits<std::uint64_t>::digits10 + 1;
  if (static_cast<std::int64_t>(decimal->digits.size()) + decimal->exponent > kMostDigits) {
    return NumberResult::kOutOfRange;
  }
  if (decimal->negative) decimal->digits.insert(0, 1, '-');
  decimal->digits.append(static_cast<std::size_t>(decimal->exponent), '0');
  const char* const end = decimal->digits.data() + decimal->digits.size();
  const auto [stop, error] = std::from_chars(decimal->digits.data(), end, *value);
  // Unsigned types take no minus sign at all.
  return error == std::errc() && stop == end ? NumberResult::kOk : NumberResult::kOutOfRange;
}

template <typename Real>
NumberResult ParseReal(std::string_view text, Real* value) {
  if (!IsJsonNumber(text)) return NumberResult::kNoNumber;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), *value);
  if (error != std::errc::result_out_of_range) return NumberResult::kOk;
  // Too large or too small, which the parts of the number tell.
  const std::optional<Decimal> decimal = ParseDecimal(text);
  *value = decimal->negative ? -Real{0} : Real{0};
  if (decimal->digits.empty()) return NumberResult::kOk;
  if (static_cast<std::int64_t>(decimal->digits.size()) + decimal->exponent > 0) {
    return NumberResult::kOutOfRange;
  }
  return NumberResult::kOk;
}

template <typename Real>
char* WriteReal(Real value, char* text) {
  if (value == 0) {
    const std::string_view zero = std::signbit(value) ? "-0.0" : "0";
    return std::copy(zero.begin(), zero.end(), text);
  }
  // The shortest text for the largest float is a larger number, which readers that go by way of
  // double, such as Python's, take for out of range.
  const bool largest =
      value == std::numeric_limits<float>::max() || value == std::numeric_limits<float>::lowest();
  return (largest ? std::to_chars(text, text + kLongestReal, double{value})
                  : std::to_chars(text, text + kLongestReal, value))
      .ptr;
}

template NumberResult ParseInteger(std::string_view text, std::int32_t* value);
template NumberResult ParseInteger(std::string_view text, std::int64_t* value);
template NumberResult ParseInteger(std::string_view text, std::uint32_t* value);
template NumberResult ParseInteger(std::string_view text, std::uint64_t* value);
template NumberResult ParseReal(std::string_view text, float* value);
template NumberResult ParseReal(std::string_view text, double* value);
template char* WriteReal(float value, char* text);
template char* WriteReal(double value, char* text);

}  // namespace CmnSys::Util
