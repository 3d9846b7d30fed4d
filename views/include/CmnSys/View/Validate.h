// Tells whether bytes are a message, in one pass and without objects.
//
// What stands below a message can only be told with all extensions at hand, so that this needs a
// header that is generated for the whole schema: "ProtoBuf/CmnSys/CmnSys.validate.h", which
// includes this one.

#ifndef CMNSYS_VIEW_VALIDATE_H_
#define CMNSYS_VIEW_VALIDATE_H_

#include <cstdint>
#include <string_view>

#include "CmnSys/View/Wire.h"

namespace CmnSys::View {

namespace internal {

// A field whose value has to be looked into. Others are right when they can be skipped.
struct Slot {
  std::uint32_t tag;      // 0 in slots that are not used.
  std::uint32_t content;  // The index of a message, or one of those below.
};
constexpr std::uint32_t kPackedVarints = 0xffffffff;
constexpr std::uint32_t kPackedFixed32 = 0xfffffffe;
constexpr std::uint32_t kPackedFixed64 = 0xfffffffd;

// The slots of a message: that of a field number is the one behind the first by its low bits.
struct Shape {
  std::uint32_t first;
  std::uint32_t mask;
};

struct Shapes {
  const Shape* shapes;
  const Slot* slots;
};

// The shapes of a view's schema and the index of its own; specialized by the generated header.
template <typename View>
struct ShapeOf {
  static_assert(sizeof(View) == 0,
                "Include the validation header of the schema; it tells what cannot be validated.");
};

inline bool ArePackedVarints(const char* p, const char* e) {
  while (p != e) {
    p = SkipVarint(p, e);
    if (p == nullptr) return false;
  }
  return true;
}

inline bool IsValid(const Shapes& schema, std::uint32_t index, const char* p, const char* e,
                    int depth_left) {
  const Shape shape = schema.shapes[index];
  const Slot* const slots = schema.slots + shape.first;
  while (p != e) {
    std::uint32_t tag = 0;
    p = ReadTag(p, e, &tag);
    if (p == nullptr) return false;
    if (WireTypeOf(tag) != kLengthDelimited || FieldOf(tag) == 0) {
      p = SkipValue(p, e, tag, depth_left);
      if (p == nullptr) return false;
      continue;
    }
    std::uint32_t length = 0;
    p = ReadLength(p, e, &length);
    if (p == nullptr) return false;
    const char* const end = p + length;
    const Slot& slot = slots[FieldOf(tag) & shape.mask];
    if (slot.tag == tag) {
      switch (slot.content) {
        case kPackedVarints:
          if (!ArePackedVarints(p, end)) return false;
          break;
        case kPackedFixed32:
          if (length % 4 != 0) return false;
          break;
        case kPackedFixed64:
          if (length % 8 != 0) return false;
          break;
        default:
          if (depth_left == 0 || !IsValid(schema, slot.content, p, end, depth_left - 1)) {
            return false;
          }
      }
    }
    p = end;
  }
  return true;
}

}  // namespace internal

// Whether the ParseFromArray of the view's message would take the bytes, with the extensions of the
// schema that the header was generated for. It does not compile where telling that takes more than
// the wire: for messages with required fields, groups, or strings of proto3, which have to be
// UTF-8, in them or below them. Allocates nothing; takes time in proportion to the bytes, and stack
// for up to 100 levels, some 10 KiB. Thread-safe.
template <typename View>
bool Validate(std::string_view bytes) {
  using Shape = internal::ShapeOf<View>;
  return bytes.size() <= kMaxLength &&
         internal::IsValid(Shape::kShapes, Shape::kIndex, bytes.data(), bytes.data() + bytes.size(),
                           kMaxDepth);
}

}  // namespace CmnSys::View

#endif  // CMNSYS_VIEW_VALIDATE_H_
