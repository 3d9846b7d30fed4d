#include "formats/json_ends.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace CmnSys::Tool {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// What has to be looked at, by whether it stands in a string.
struct Stops {
  std::array<bool, 256> outside{};
  std::array<bool, 256> inside{};
};

constexpr Stops MakeStops() {
  Stops stops;
  for (const char c : std::string_view("\"{}[]"))
    stops.outside[static_cast<unsigned char>(c)] = true;
  for (std::size_t c = 0; c < ' '; ++c) stops.inside[c] = true;
  stops.inside['"'] = stops.inside['\\'] = true;
  return stops;
}

constexpr Stops kStops = MakeStops();

std::size_t Skip(const std::array<bool, 256>& stops, std::string_view text, std::size_t at) {
  while (at < text.size() && !stops[static_cast<unsigned char>(text[at])]) ++at;
  return at;
}

// Whether a value may stand behind this text. Tells of most objects that were cut, so that the next
// one is not taken for a part of them.
bool ExpectsValue(std::string_view text) {
  const std::size_t last = text.find_last_not_of(kBlanks);
  return last != std::string_view::npos &&
         (text[last] == ':' || text[last] == '[' || text[last] == ',');
}

}  // namespace

RecordEnds::Found JsonEnds::Next(std::string_view text) {
  if (depth_ == 0) {
    begin_ = at_ = std::min(text.find_first_not_of(kBlanks, at_), text.size());
    if (at_ == text.size()) return Found::kNone;
    if (text[at_] != '{') return Found::kUnknown;
  }
  while (at_ < text.size()) {
    if (in_string_) {
      at_ = Skip(kStops.inside, text, at_);
      if (at_ == text.size()) break;
      if (text[at_] != '"') {
        const std::size_t before = at_;
        if (!SkipEscape(text)) return Found::kUnknown;
        if (at_ == before) break;
        continue;
      }
      in_string_ = false;
    } else {
      at_ = Skip(kStops.outside, text, at_);
      if (at_ == text.size()) break;
      const char c = text[at_];
      if (c == '"') {
        in_string_ = true;
      } else if (c == '{' || c == '[') {
        if (c == '{' && depth_ > 0 && !ExpectsValue(text.substr(begin_, at_ - begin_))) {
          return Found::kUnknown;
        }
        ++depth_;
      } else if (--depth_ == 0) {
        ++at_;
        return Found::kRecord;
      }
    }
    ++at_;
  }
  return Found::kNone;
}

// Goes behind an escape when it is whole. Returns false for what is none: a reader may look further
// for the rest of it than to the end of the object.
bool JsonEnds::SkipEscape(std::string_view text) {
  if (text[at_] != '\\') return false;
  const std::string_view escape = text.substr(at_, 6);
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
