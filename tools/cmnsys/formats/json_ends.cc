#include "formats/json_ends.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace CmnSys::Tool {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::size_t kWindow = 64;

// Where the bytes stand in a window that have to be looked at, a bit each.
struct Marks {
  std::uint64_t quotes = 0;
  std::uint64_t backslashes = 0;
  std::uint64_t controls = 0;  // Control characters.
  std::uint64_t brackets = 0;
};

#ifdef __SSE2__
// The bytes of a window of which `wanted` makes 0xff.
template <typename Wanted>
std::uint64_t Find(const char* window, const Wanted& wanted) {
  const auto find = [window, &wanted](std::size_t at) {
    const __m128i found = wanted(_mm_loadu_si128(reinterpret_cast<const __m128i*>(window + at)));
    return std::uint64_t{static_cast<std::uint32_t>(_mm_movemask_epi8(found))};
  };
  return find(0) | find(16) << 16 | find(32) << 32 | find(48) << 48;
}

Marks FindMarksOfWhole(const char* window) {
  const auto is = [](__m128i bytes, char c) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)); };
  Marks marks;
  marks.quotes = Find(window, [&](__m128i bytes) { return is(bytes, '"'); });
  marks.backslashes = Find(window, [&](__m128i bytes) { return is(bytes, '\\'); });
  marks.controls = Find(window, [](__m128i bytes) {
    return _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(' ' - 1)), bytes);
  });
  marks.brackets = Find(window, [&](__m128i bytes) {
    // Square brackets become curly ones, and nothing else becomes any.
    const __m128i curly = _mm_or_si128(bytes, _mm_set1_epi8('{' ^ '['));
    return _mm_or_si128(is(curly, '{'), is(curly, '}'));
  });
  return marks;
}
#endif

// `window` has at most kWindow bytes.
Marks FindMarks(std::string_view window) {
#ifdef __SSE2__
  if (window.size() == kWindow) return FindMarksOfWhole(window.data());
#endif
  Marks marks;
  for (std::size_t i = 0; i < window.size(); ++i) {
    const char c = window[i];
    const std::uint64_t bit = std::uint64_t{1} << i;
    if (c == '"') marks.quotes |= bit;
    if (c == '\\') marks.backslashes |= bit;
    if (static_cast<unsigned char>(c) < ' ') marks.controls |= bit;
    if (c == '{' || c == '}' || c == '[' || c == ']') marks.brackets |= bit;
  }
  return marks;
}

std::size_t First(std::uint64_t bits) { return static_cast<std::size_t>(__builtin_ctzll(bits)); }

// `bits` below the first one of `others`, or all of them.
std::uint64_t Before(std::uint64_t bits, std::uint64_t others) {
  return bits & (~others & (others - 1));
}

// Each bit tells whether the number of bits up to there is odd.
std::uint64_t Parities(std::uint64_t bits) {
  bits ^= bits << 1;
  bits ^= bits << 2;
  bits ^= bits << 4;
  bits ^= bits << 8;
  bits ^= bits << 16;
  return bits ^ bits << 32;
}

// Whether a value may stand behind this text. Tells of most objects that were cut, so that the next
// one is not taken for a part of them.
bool ExpectsValue(std::string_view text) {
  const auto last = std::find_if_not(text.rbegin(), text.rend(), [](char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
  });
  return last != text.rend() && (*last == ':' || *last == '[' || *last == ',');
}

}  // namespace

RecordEnds::Found JsonEnds::Next(std::string_view text) {
  if (depth_ == 0) {
    begin_ = at_ = std::min(text.find_first_not_of(kBlanks, at_), text.size());
    if (at_ == text.size()) return Found::kNone;
    if (text[at_] != '{') return Found::kUnknown;
  }
  while (at_ < text.size()) {
    const std::string_view window = text.substr(at_, kWindow);
    const Marks marks = FindMarks(window);
    // Up to an escape. From an opening quote on, to before the closing one, is in a string.
    const std::uint64_t in_string =
        Parities(Before(marks.quotes, marks.backslashes)) ^ (in_string_ ? UINT64_MAX : 0);
    const std::uint64_t controls = Before(marks.controls & in_string, marks.backslashes);
    std::uint64_t brackets =
        Before(Before(marks.brackets & ~in_string, marks.backslashes), controls);
    for (; brackets != 0; brackets &= brackets - 1) {
      const std::size_t place = at_ + First(brackets);
      const char c = text[place];
      if (c == '{' || c == '[') {
        if (c == '{' && depth_ > 0 && !ExpectsValue(text.substr(begin_, place - begin_))) {
          return Found::kUnknown;
        }
        ++depth_;
      } else if (--depth_ == 0) {
        in_string_ = false;
        at_ = place + 1;
        return Found::kRecord;
      }
    }
    if (controls != 0) return Found::kUnknown;
    const std::size_t size = marks.backslashes == 0 ? window.size() : First(marks.backslashes);
    if (size > 0) in_string_ = (in_string >> (size - 1) & 1) != 0;
    at_ += size;
    if (marks.backslashes == 0) continue;
    const std::size_t before = at_;
    if (!SkipEscape(text)) return Found::kUnknown;
    if (at_ == before) break;
  }
  return Found::kNone;
}

// Goes behind a backslash and, in a string, the escape that it begins when that is whole. Returns
// false for what is none: a reader may look further for the rest of it than to the end of the
// object.
bool JsonEnds::SkipEscape(std::string_view text) {
  const std::string_view escape = text.substr(at_, 6);
  if (!in_string_) {
    ++at_;
    return true;
  }
  if (escape.size() < 2) return true;
  if (escape[1] != 'u') {
    at_ += 2;
    return true;
  }
  if (!std::all_of(escape.begin() + 2, escape.end(),
                   [](unsigned char c) { return std::isxdigit(c) != 0; })) {
    return false;
  }
  if (escape.size() == 6) at_ += escape.size();
  return true;
}

void JsonEnds::Drop(std::size_t size) {
  begin_ -= std::min(begin_, size);
  at_ -= size;
}

}  // namespace CmnSys::Tool
