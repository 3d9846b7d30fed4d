#include "analysis/sample.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace CmnSys::Tool {
namespace {

// Reads varints and counts where it is. Every reading function returns false at the end of the
// bytes (AtEnd) and at bytes that make no sense.
class Walker {
 public:
  explicit Walker(std::string_view bytes) : bytes_(bytes) {}

  bool Varint(std::uint64_t* value) {
    *value = 0;
    for (int shift = 0; shift < 70; shift += 7) {
      if (position_ == bytes_.size()) return Ends();
      const auto byte = static_cast<unsigned char>(bytes_[position_++]);
      *value |= static_cast<std::uint64_t>(byte & 0x7f) << (shift & 63);
      if (byte < 0x80) return true;
    }
    return false;
  }

  bool Skip(std::uint64_t count) {
    if (count > bytes_.size() - position_) return Ends();
    position_ += static_cast<std::size_t>(count);
    return true;
  }

  std::size_t position() const { return position_; }
  bool at_end() const { return at_end_; }

 private:
  bool Ends() {
    at_end_ = true;
    return false;
  }

  std::string_view bytes_;
  std::size_t position_ = 0;
  bool at_end_ = false;
};

void AppendVarint(std::uint64_t value, std::string* bytes) {
  for (; value >= 0x80; value >>= 7) *bytes += static_cast<char>(value | 0x80);
  *bytes += static_cast<char>(value);
}

// Of bytes that are no message: to the end of a packed number of any width, and of a character.
std::string_view BeginningOfBytes(std::string_view bytes) {
  constexpr std::size_t kWidest = 8;
  const std::size_t most = bytes.size() - bytes.size() % kWidest;
  std::size_t size = most;
  while (size > 0 && static_cast<unsigned char>(bytes[size - 1]) >= 0x80) size -= kWidest;
  return bytes.substr(0, size > 0 ? size : most);
}

// The whole fields at the beginning of bytes that go on elsewhere, and the beginning of the next
// one; nothing when they are no message.
std::optional<std::string> WholeFields(std::string_view bytes, int depth) {
  constexpr int kMostDepth = 90;
  Walker walker(bytes);
  std::vector<std::uint64_t> groups;
  std::string result;
  while (true) {
    const std::size_t start = walker.position();
    std::uint64_t tag = 0;
    std::uint64_t value = 0;
    bool read = walker.Varint(&tag);
    const std::uint64_t number = tag >> 3;
    if (read && (number == 0 || number > 0x1fffffff)) return std::nullopt;
    const std::size_t value_start = walker.position();
    bool is_delimited = false;
    if (read) {
      switch (tag & 7) {
        case 0:
          read = walker.Varint(&value);
          break;
        case 1:
          read = walker.Skip(8);
          break;
        case 2:
          is_delimited = walker.Varint(&value);
          read = is_delimited && walker.Skip(value);
          break;
        case 3:
          groups.push_back(number);
          if (groups.size() > kMostDepth) return std::nullopt;
          break;
        case 4:
          if (groups.empty() || groups.back() != number) return std::nullopt;
          groups.pop_back();
          break;
        case 5:
          read = walker.Skip(4);
          break;
        default:
          return std::nullopt;
      }
    }
    if (read) continue;
    if (!walker.at_end()) return std::nullopt;
    result = bytes.substr(0, start);
    if (is_delimited) {
      const std::string_view rest = bytes.substr(walker.position());
      std::optional<std::string> inner;
      if (depth < kMostDepth) inner = WholeFields(rest, depth + 1);
      if (!inner || inner->empty()) inner = BeginningOfBytes(rest);
      result += bytes.substr(start, value_start - start);
      AppendVarint(inner->size(), &result);
      result += *inner;
    }
    for (; !groups.empty(); groups.pop_back()) AppendVarint(groups.back() << 3 | 4, &result);
    return result;
  }
}

}  // namespace

std::string BeginningOfMessage(std::string_view bytes, std::size_t limit, bool is_whole) {
  if (is_whole && bytes.size() <= limit) return std::string(bytes);
  bytes = bytes.substr(0, limit);
  return WholeFields(bytes, 0).value_or(std::string(bytes));
}

bool IsWellFormed(std::string_view bytes) { return WholeFields(bytes, 0) == bytes; }

std::vector<std::string_view> SplitDelimited(std::string_view bytes, bool is_whole) {
  std::vector<std::string_view> records;
  while (!bytes.empty()) {
    Walker walker(bytes);
    std::uint64_t length = 0;
    if (!walker.Varint(&length)) {
      if (is_whole || !walker.at_end()) return {};
      break;
    }
    bytes.remove_prefix(walker.position());
    if (length > bytes.size() && is_whole) return {};
    records.push_back(bytes.substr(0, static_cast<std::size_t>(length)));
    bytes.remove_prefix(records.back().size());
  }
  return records;
}

std::size_t DelimitedRecords(std::string_view bytes, bool is_whole) {
  constexpr std::size_t kEnough = 10;
  const std::vector<std::string_view> records = SplitDelimited(bytes, is_whole);
  if (records.empty()) return 0;
  const std::size_t count = std::min(kEnough, records.size() - (is_whole ? 0 : 1));
  const auto first = records.begin();
  return std::all_of(first, first + static_cast<std::ptrdiff_t>(count), IsWellFormed)
             ? records.size()
             : 0;
}

}  // namespace CmnSys::Tool
