#ifndef CMNSYS_UTIL_SRC_JSON_JSON_NUMBER_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_NUMBER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace CmnSys::Util {

// Whether the text is a number in JSON's grammar.
bool IsJsonNumber(std::string_view text);

enum class NumberResult { kOk, kNoNumber, kNotWhole, kOutOfRange };

// Read a number in JSON's grammar. The value of an integer is taken exactly, also with fraction and
// exponent ("1.5e1" is 15); that of a float or double is rounded to the nearest, and to 0 when it
// is too small. `value` is set for kOk only. Defined for the number types of protobuf fields.
template <typename Integer>
NumberResult ParseInteger(std::string_view text, Integer* value);
template <typename Real>
NumberResult ParseReal(std::string_view text, Real* value);

// The shortest number that reads back as `value`, which must be finite; of the largest float, all
// digits; of minus zero "-0.0", since readers that take "-0" for a whole number lose its sign.
// Written to `text`, which has room for kLongestReal characters; returns the end of it.
constexpr std::size_t kLongestReal = 40;
template <typename Real>
char* WriteReal(Real value, char* text);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_NUMBER_H_
