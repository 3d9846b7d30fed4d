// Protobuf's wire format, read in place: tags, numbers, lengths, and fields to skip.
//
// What is taken and what is refused, and which value over-long numbers have, is what the parser of
// the protobuf runtime (3.21, contiguous input) does, so that views and parsed messages agree:
//
// - A tag has at most 5 bytes, and bits above the 32nd are dropped. Field number 0, wire types
//   6 and 7, and an end of a group that was not begun are errors.
// - A number has at most 10 bytes. Fields of 32 bits take its low 32 bits.
// - A length has at most 5 bytes and is at most 2^31 - 17.
// - Messages and groups together are at most 100 levels deep below the outermost message.
//
// All functions take the place `p` to read at and the end `e` of the bytes, p <= e, read nothing
// from `e` on, and return the place behind what they read, or null when that is malformed or cut
// off. They are thread-safe and do not allocate.

#ifndef CMNSYS_VIEW_WIRE_H_
#define CMNSYS_VIEW_WIRE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace CmnSys::View {

enum WireType : std::uint32_t {
  kVarint = 0,
  kFixed64 = 1,
  kLengthDelimited = 2,
  kStartGroup = 3,
  kEndGroup = 4,
  kFixed32 = 5,
};

// Levels of messages and groups below the outermost message.
constexpr int kMaxDepth = 100;

// The longest message or field, in bytes.
constexpr std::uint32_t kMaxLength = 0x7fffffff - 16;

// The tag of a field, and what one says: the field's number, 1 to 2^29 - 1 where it is right, and
// how its value is written, 6 and 7 where it is wrong.
constexpr std::uint32_t MakeTag(std::uint32_t field, WireType type) { return field << 3 | type; }
constexpr std::uint32_t FieldOf(std::uint32_t tag) { return tag >> 3; }
constexpr WireType WireTypeOf(std::uint32_t tag) { return static_cast<WireType>(tag & 7); }

// A field that the view's type does not know, or a number that a closed enum does not have.
struct UnknownField {
  std::uint32_t number;
  WireType wire_type;
  // Its bytes behind the tag: those behind the length if it has one, with the end of a group.
  std::string_view value;
};

namespace internal {

inline bool IsLikely(bool condition) {
  return __builtin_expect(static_cast<long>(condition), 1L) != 0;
}

inline std::uint32_t ByteAt(const char* p) { return static_cast<unsigned char>(*p); }

// What was read and the place behind it, or null: in two registers, where a result by way of a
// pointer would keep the caller's variable in memory.
struct Found {
  const char* behind;
  std::uint64_t value;
};

[[gnu::noinline]] inline Found FindTag(const char* p, const char* e) {
  std::uint32_t value = 0;
  for (int i = 0; i < 5 && p != e; ++i) {
    const std::uint32_t byte = ByteAt(p++);
    value |= (byte & 0x7f) << (7 * i);
    if (byte < 0x80) return {p, value};
  }
  return {nullptr, 0};
}

// Eight bytes, the first one lowest.
inline std::uint64_t EightBytesAt(const char* p) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "Views are for little-endian machines.");
  std::uint64_t bytes = 0;
  std::memcpy(&bytes, p, sizeof bytes);
  return bytes;
}

constexpr std::uint64_t kTopBits = 0x8080808080808080;

// The top bits of those bytes that end a number.
inline std::uint64_t NumberEnds(std::uint64_t bytes) { return (bytes & kTopBits) ^ kTopBits; }

// The place behind a number that begins at p and ends at the lowest of these ends.
inline const char* BehindNumber(const char* p, std::uint64_t ends) {
  return p + (static_cast<unsigned>(__builtin_ctzll(ends)) >> 3) + 1;
}

// The number that ends at the lowest of these ends.
inline std::uint64_t JoinNumber(std::uint64_t bytes, std::uint64_t ends) {
  bytes = (bytes ^ (bytes & kTopBits)) & (ends ^ (ends - 1));
  // Close the gaps between groups of 7, then 14, then 28 bits.
  bytes -= (bytes >> 1) & 0x3f803f803f803f80;
  bytes -= 3 * ((bytes >> 2) & 0x0fffc0000fffc000);
  return (bytes & 0x0fffffff) | bytes >> 32 << 28;
}

[[gnu::noinline]] inline Found FindVarint(const char* p, const char* e) {
  const std::ptrdiff_t left = e - p;
  if (left >= 4 && left < 8) {
    // The last number of a small message: all of its bytes, and behind them such that end nothing.
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    std::memcpy(&first, p, sizeof first);
    std::memcpy(&last, e - 4, sizeof last);
    const std::uint64_t bytes = std::uint64_t{last} << (8 * (left - 4)) | first;
    const std::uint64_t ends = NumberEnds(bytes) & ~(~std::uint64_t{0} << (8 * left));
    if (ends == 0) return {nullptr, 0};
    return {BehindNumber(p, ends), JoinNumber(bytes, ends)};
  }
  std::uint64_t value = 0;
  for (int i = 0; i < 10 && p != e; ++i) {
    const std::uint64_t byte = ByteAt(p++);
    value |= (byte & 0x7f) << (7 * i);
    if (byte < 0x80) return {p, value};
  }
  return {nullptr, 0};
}

// Numbers of up to 8 bytes without a branch that depends on their length.
inline const char* ReadVarintSlow(const char* p, const char* e, std::uint64_t* value) {
  if (e - p >= 8) {
    const std::uint64_t bytes = EightBytesAt(p);
    const std::uint64_t ends = NumberEnds(bytes);
    if (IsLikely(ends != 0)) {
      *value = JoinNumber(bytes, ends);
      return BehindNumber(p, ends);
    }
  }
  const Found found = FindVarint(p, e);
  *value = found.value;
  return found.behind;
}

// For lengths of more than one byte; hardly any has more than two.
[[gnu::noinline]] inline Found FindLength(const char* p, const char* e) {
  std::uint64_t length = 0;
  if (e - p >= 2 && ByteAt(p + 1) < 0x80) {
    length = (ByteAt(p) & 0x7f) | ByteAt(p + 1) << 7;
    if (length > static_cast<std::size_t>(e - p - 2)) return {nullptr, 0};
    return {p + 2, length};
  }
  for (int i = 0; i < 5 && p != e; ++i) {
    const std::uint64_t byte = ByteAt(p++);
    length |= (byte & 0x7f) << (7 * i);
    if (byte >= 0x80) continue;
    if (length > kMaxLength || length > static_cast<std::size_t>(e - p)) break;
    return {p, length};
  }
  return {nullptr, 0};
}

}  // namespace internal

// Reads a tag, whatever its number and wire type. Needs p < e to succeed.
inline const char* ReadTag(const char* p, const char* e, std::uint32_t* tag) {
  if (e - p >= 2) {
    const std::uint32_t first = internal::ByteAt(p);
    if (first < 0x80) {
      *tag = first;
      return p + 1;
    }
    const std::uint32_t second = internal::ByteAt(p + 1);
    if (second < 0x80) {
      *tag = first - 0x80 + (second << 7);
      return p + 2;
    }
  }
  const internal::Found found = internal::FindTag(p, e);
  *tag = static_cast<std::uint32_t>(found.value);
  return found.behind;
}

// Reads a number.
inline const char* ReadVarint(const char* p, const char* e, std::uint64_t* value) {
  if (p == e) return nullptr;
  const std::uint32_t first = internal::ByteAt(p);
  if (first < 0x80) {
    *value = first;
    return p + 1;
  }
  return internal::ReadVarintSlow(p, e, value);
}

namespace internal {

// Reads a number that hardly ever has more than two bytes, as those of enums.
inline const char* ReadEnumNumber(const char* p, const char* e, std::uint64_t* value) {
  if (p == e) return nullptr;
  const std::uint32_t first = ByteAt(p);
  if (first < 0x80) {
    *value = first;
    return p + 1;
  }
  if (e - p >= 2 && ByteAt(p + 1) < 0x80) {
    *value = first - 0x80 + (ByteAt(p + 1) << 7);
    return p + 2;
  }
  const Found found = FindVarint(p, e);
  *value = found.value;
  return found.behind;
}

}  // namespace internal

// Reads a number that is not needed.
inline const char* SkipVarint(const char* p, const char* e) {
  if (p != e && internal::ByteAt(p) < 0x80) return p + 1;
  if (e - p >= 8) {
    const std::uint64_t ends = internal::NumberEnds(internal::EightBytesAt(p));
    if (ends != 0) return internal::BehindNumber(p, ends);
  }
  return internal::FindVarint(p, e).behind;
}

// Reads the length of a string, message or packed field. Succeeds only if that many bytes follow.
inline const char* ReadLength(const char* p, const char* e, std::uint32_t* length) {
  if (p == e) return nullptr;
  const std::uint32_t first = internal::ByteAt(p);
  if (internal::IsLikely(first < 0x80)) {
    *length = first;
    // In this form the sum is the place behind the value, which the caller needs, too.
    const auto behind = reinterpret_cast<std::uintptr_t>(p) + 1 + first;
    return behind <= reinterpret_cast<std::uintptr_t>(e) ? p + 1 : nullptr;
  }
  const internal::Found found = internal::FindLength(p, e);
  *length = static_cast<std::uint32_t>(found.value);
  return found.behind;
}

// Reads a little-endian number of 4 or 8 bytes into an integer, float or double of that size.
template <typename T>
const char* ReadFixed(const char* p, const char* e, T* value) {
  static_assert(sizeof(T) == 4 || sizeof(T) == 8);
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "Views are for little-endian machines.");
  if (e - p < static_cast<std::ptrdiff_t>(sizeof(T))) return nullptr;
  std::memcpy(value, p, sizeof(T));
  return p + sizeof(T);
}

// Signed numbers of fields of type sint32 and sint64.
constexpr std::int32_t DecodeZigZag32(std::uint32_t value) {
  return static_cast<std::int32_t>((value >> 1) ^ (~(value & 1) + 1));
}
constexpr std::int64_t DecodeZigZag64(std::uint64_t value) {
  return static_cast<std::int64_t>((value >> 1) ^ (~(value & 1) + 1));
}

// Skips the content of the group of field `field`, whose start was read, and its end. `depth_left`
// tells how many levels may stand below the message or group that the group is in.
[[gnu::noinline]] inline const char* SkipGroup(const char* p, const char* e, std::uint32_t field,
                                               int depth_left) {
  std::uint32_t open[kMaxDepth];
  int depth = 0;
  if (depth_left > kMaxDepth) depth_left = kMaxDepth;
  if (depth_left <= 0) return nullptr;
  open[depth++] = field;
  while (p != e) {
    std::uint32_t tag = 0;
    p = ReadTag(p, e, &tag);
    if (p == nullptr || FieldOf(tag) == 0) return nullptr;
    std::uint32_t length = 0;
    switch (tag & 7) {
      case kVarint:
        p = SkipVarint(p, e);
        break;
      case kFixed64:
        p = e - p < 8 ? nullptr : p + 8;
        break;
      case kLengthDelimited:
        p = ReadLength(p, e, &length);
        if (p != nullptr) p += length;
        break;
      case kStartGroup:
        if (depth == depth_left) return nullptr;
        open[depth++] = FieldOf(tag);
        break;
      case kEndGroup:
        if (open[--depth] != FieldOf(tag)) return nullptr;
        if (depth == 0) return p;
        break;
      case kFixed32:
        p = e - p < 4 ? nullptr : p + 4;
        break;
      default:
        return nullptr;
    }
    if (p == nullptr) return nullptr;
  }
  return nullptr;
}

// Skips the value of a field whose tag was read, whatever the tag is; an end of a group is an
// error. `depth_left` as for SkipGroup: 100 in an outermost message.
inline const char* SkipValue(const char* p, const char* e, std::uint32_t tag, int depth_left) {
  if (FieldOf(tag) == 0) return nullptr;
  std::uint32_t length = 0;
  switch (tag & 7) {
    case kVarint:
      return SkipVarint(p, e);
    case kFixed64:
      return e - p < 8 ? nullptr : p + 8;
    case kLengthDelimited:
      p = ReadLength(p, e, &length);
      return p == nullptr ? nullptr : p + length;
    case kStartGroup:
      return SkipGroup(p, e, FieldOf(tag), depth_left);
    case kFixed32:
      return e - p < 4 ? nullptr : p + 4;
    default:
      return nullptr;
  }
}

}  // namespace CmnSys::View

#endif  // CMNSYS_VIEW_WIRE_H_
