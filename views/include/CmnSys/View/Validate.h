// Tells whether bytes are a message, in one pass and without objects.
//
// What stands below a message can only be told with all extensions at hand, so that this needs a
// header that is generated for the whole schema: "ProtoBuf/CmnSys/CmnSys.validate.h", which
// includes this one.

#ifndef CMNSYS_VIEW_VALIDATE_H_
#define CMNSYS_VIEW_VALIDATE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "CmnSys/View/Wire.h"

namespace CmnSys::View {

namespace internal {

// The messages of a schema are an array of slots. One of a message holds its mask and the bits of
// the fields 0 to 15 that cannot just be skipped, 0 being wrong; behind it stand mask + 1 slots for
// the fields whose values have to be looked into, each at the low bits of its number. Other fields
// are right when they can be skipped.
struct Slot {
  std::uint32_t tag;  // 0 in slots that are not used; the mask in one of a message.
  // How many slots ahead of the message's slot that of the value's message is, or one of those
  // below; the bits in a slot of a message.
  std::int32_t content;
};
constexpr std::int32_t kFields = 0x7fffffff;  // A message of fields that can all be skipped.
constexpr std::int32_t kPackedVarints = 0x7ffffffe;
constexpr std::int32_t kPackedFixed32 = 0x7ffffffd;
constexpr std::int32_t kPackedFixed64 = 0x7ffffffc;

// The slot of a view's message; specialized by the generated header.
template <typename View>
struct SlotOf {
  static_assert(sizeof(View) == 0,
                "Include the validation header of the schema; it tells what cannot be validated.");
};

// The first two bytes of a field, the first one lowest. There is none with less.
inline std::uint32_t TwoBytesAt(const char* p) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "Views are for little-endian machines.");
  std::uint16_t bytes = 0;
  std::memcpy(&bytes, p, sizeof bytes);
  return bytes;
}

[[gnu::noinline]] inline bool CanAllBeSkipped(const char* p, const char* e, int depth_left) {
  while (p != e) {
    std::uint32_t tag = 0;
    p = ReadTag(p, e, &tag);
    if (p != nullptr) p = SkipValue(p, e, tag, depth_left);
    if (p == nullptr) return false;
  }
  return true;
}

// Whether the bytes are fields, which are only skipped. Goes through short ones, of one byte each
// for the tag and the length, without a call.
[[gnu::noinline]] inline bool AreFields(const char* p, const char* e, int depth_left) {
  const std::ptrdiff_t begin = p - e;
  std::ptrdiff_t at = begin;  // From the end, so that it is negative.
  while (at <= -2) {
    const std::uint32_t bytes = TwoBytesAt(e + at);
    const std::uint32_t tag = bytes & 0xff;
    if (tag < 8) return false;
    if ((bytes & 0x8087) == kLengthDelimited) {
      at += 2 + (bytes >> 8);
      continue;
    }
    if ((bytes & 0x87) == kVarint) {
      if (bytes < 0x8000) {
        at += 2;
        continue;
      }
      // Eight bytes from the number on, or the last ones without those before it.
      const std::ptrdiff_t number = at + 1;
      std::uint64_t ends = 0;
      if (number <= -8) {
        ends = NumberEnds(EightBytesAt(e + number));
      } else if (begin <= -8) {
        ends = NumberEnds(EightBytesAt(e - 8)) >> (8 * (8 + number));
      }
      if (ends != 0) {
        at = BehindNumber(e + number, ends) - e;
        continue;
      }
    }
    return CanAllBeSkipped(e + at, e, depth_left);
  }
  return at == 0;
}

inline bool ArePackedVarints(const char* p, const char* e) {
  while (p != e) {
    p = SkipVarint(p, e);
    if (p == nullptr) return false;
  }
  return true;
}

// Whether the bytes are numbers of a packed field.
[[gnu::noinline]] inline bool ArePacked(std::int32_t content, const char* p, const char* e) {
  if (content == kPackedVarints) return ArePackedVarints(p, e);
  return (e - p) % (content == kPackedFixed32 ? 4 : 8) == 0;
}

[[gnu::noinline]] inline bool IsValid(const Slot* message, const char* p, const char* e,
                                      int depth_left) {
  const auto looked_into = static_cast<std::uint32_t>(message->content);
  while (e - p >= 2) {
    const std::uint32_t bytes = TwoBytesAt(p);
    std::uint32_t tag = bytes & 0xff;
    if (tag < 0x80) {
      if ((bytes & 0x8007) == kLengthDelimited && (looked_into >> FieldOf(tag) & 1) == 0) {
        if (e - p - 2 < static_cast<std::ptrdiff_t>(bytes >> 8)) return false;
        p += 2 + (bytes >> 8);
        continue;
      }
      ++p;
    } else if (bytes < 0x8000) {
      tag = (bytes & 0x7f) | bytes >> 8 << 7;
      p += 2;
    } else {
      p = ReadTag(p, e, &tag);
      if (p == nullptr) return false;
    }
    if (WireTypeOf(tag) != kLengthDelimited) {
      if (FieldOf(tag) == 0) return false;
      p = WireTypeOf(tag) == kVarint ? SkipVarint(p, e) : SkipValue(p, e, tag, depth_left);
      if (p == nullptr) return false;
      continue;
    }
    std::uint32_t length = 0;
    p = ReadLength(p, e, &length);
    if (p == nullptr) return false;
    const char* const value = p;
    p += length;
    const Slot& slot = message[1 + (FieldOf(tag) & message->tag)];
    if (slot.tag != tag) {
      if (FieldOf(tag) == 0) return false;
      continue;
    }
    if (slot.content == kFields) {
      if (depth_left == 0 || !AreFields(value, p, depth_left - 1)) return false;
    } else if (IsLikely(slot.content < kPackedFixed64)) {
      if (depth_left == 0 || !IsValid(message + slot.content, value, p, depth_left - 1)) {
        return false;
      }
    } else if (!ArePacked(slot.content, value, p)) {
      return false;
    }
  }
  return p == e;
}

}  // namespace internal

// Whether the ParseFromArray of the view's message would take the bytes, with the extensions of the
// schema that the header was generated for. It does not compile where telling that takes more than
// the wire: for messages with required fields, groups, or strings of proto3, which have to be
// UTF-8, in them or below them. Allocates nothing; takes time in proportion to the bytes, and stack
// for up to 100 levels, some 10 KiB. Thread-safe.
template <typename View>
bool Validate(std::string_view bytes) {
  return bytes.size() <= kMaxLength &&
         internal::IsValid(internal::SlotOf<View>::kSlot, bytes.data(), bytes.data() + bytes.size(),
                           kMaxDepth);
}

}  // namespace CmnSys::View

#endif  // CMNSYS_VIEW_VALIDATE_H_
