// What generated views are made of. Programs include the view header of a schema file, for example
// "ProtoBuf/CmnSys/CmnSys.Events.view.h", and need nothing of this directly but ViewOf.

#ifndef CMNSYS_VIEW_VIEW_H_
#define CMNSYS_VIEW_VIEW_H_

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "CmnSys/View/Extension.h"
#include "CmnSys/View/Range.h"
#include "CmnSys/View/Source.h"
#include "CmnSys/View/Wire.h"

namespace CmnSys::View {

// ViewOf<Message>::type is the view of a generated message class. The view header of its schema
// file must be included.
template <typename Message>
struct ViewOf;

namespace internal {

// The extensions that one pass over a message found: where the first ones are, and whether there
// are others.
class FoundExtensions {
 public:
  void Add(std::uint32_t tag, Piece value) {
    for (int i = 0; i < count_; ++i) {
      if (kept_[i].tag == tag) {
        kept_[i].split = true;
        return;
      }
    }
    if (count_ == kKept) {
      others_ = true;
    } else {
      kept_[count_++] = {tag, value, false};
    }
  }

  void Clear() {
    count_ = 0;
    others_ = false;
  }

  bool Has(const Source& source, std::uint32_t tag) const {
    for (int i = 0; i < count_; ++i) {
      if (kept_[i].tag == tag) return true;
    }
    return others_ && Occurrences(source, 0, Occurrences::kUnknownCount, tag, tag).Next();
  }

  // The view of an extension. Each way makes it of a source of its own: one for all would be copied
  // out of memory right after it was written there in smaller parts, which processors wait for.
  template <typename View>
  View Get(const Source& source, std::uint32_t tag) const {
    for (int i = 0; i < count_; ++i) {
      if (kept_[i].tag != tag) continue;
      if (kept_[i].split) return View(source.SplitChild(tag));
      return View(source.Child(source.At(kept_[i].value)));
    }
    if (others_) return View(Search(source, tag));
    return View(Source());
  }

 private:
  struct Extension {
    std::uint32_t tag;
    Piece value;
    bool split;
  };
  static constexpr int kKept = 2;

  [[gnu::noinline]] static Source Search(const Source& source, std::uint32_t tag) {
    Occurrences walk(source, 0, Occurrences::kUnknownCount, tag, tag);
    if (!walk.Next()) return Source();
    const std::string_view value = walk.value();
    return walk.Next() ? source.SplitChild(tag) : source.Child(value);
  }

  std::uint8_t count_ = 0;
  bool others_ = false;
  Extension kept_[kKept];
};

// Calls visit(piece) for the pieces of the source until it returns false. Returns whether all were
// visited.
template <typename Visit>
bool ForEachPiece(const Source& source, Visit visit) {
  if (source.bad) return false;
  if (source.path_size == 0) return visit(source.begin, source.end());
  Occurrences pieces(source);
  while (pieces.Next()) {
    const std::string_view piece = pieces.value();
    if (!visit(piece.data(), piece.data() + piece.size())) return false;
  }
  return !pieces.failed();
}

// Whether the fields of the message can be told apart, without looking into them.
inline bool IsFramed(const Source& source) {
  return ForEachPiece(source, [&source](const char* p, const char* e) {
    while (p != e) {
      std::uint32_t tag = 0;
      p = ReadTag(p, e, &tag);
      if (p != nullptr) p = SkipValue(p, e, tag, source.depth_left());
      if (p == nullptr) return false;
    }
    return true;
  });
}

// Replaces the content of the message by that of the source.
template <typename Message>
bool CopyTo(const Source& source, Message* message) {
  if (source.path_size == 0 && !source.bad) {
    return message->ParseFromArray(source.begin, static_cast<int>(source.size));
  }
  std::string bytes;
  const bool good = ForEachPiece(source, [&bytes](const char* p, const char* e) {
    bytes.append(p, e);
    return true;
  });
  message->Clear();
  return good && message->ParseFromString(bytes);
}

// What a view's type makes of a tag.
enum class Known { kNo, kYes, kEnum };

// Calls visit(UnknownField) for each unknown field; Type::Knows(tag) tells what is known, and
// Type::HasNumber(field, number) which numbers the enum of a field has.
template <typename Type, typename Visit>
bool ForEachUnknownField(const Source& source, Visit& visit) {
  return ForEachPiece(source, [&](const char* p, const char* e) {
    while (p != e) {
      std::uint32_t tag = 0;
      p = ReadTag(p, e, &tag);
      if (p == nullptr) return false;
      const char* const behind = SkipValue(p, e, tag, source.depth_left());
      if (behind == nullptr) return false;
      UnknownField field{FieldOf(tag), WireTypeOf(tag), {p, static_cast<std::size_t>(behind - p)}};
      std::uint32_t length = 0;
      if (field.wire_type == kLengthDelimited) {
        p = ReadLength(p, e, &length);
        field.value = {p, length};
      }
      const Known known = Type::Knows(tag);
      if (known == Known::kNo) {
        visit(field);
      } else if (known == Known::kEnum) {
        const char* const end = field.value.data() + field.value.size();
        for (const char* number = field.value.data(); number != end;) {
          std::uint64_t value = 0;
          const char* const next = ReadVarint(number, end, &value);
          if (next == nullptr) return false;
          if (!Type::HasNumber(field.number, static_cast<std::int32_t>(value))) {
            visit(UnknownField{
                field.number, kVarint, {number, static_cast<std::size_t>(next - number)}});
          }
          number = next;
        }
      }
      p = behind;
    }
    return true;
  });
}

// Whether the bytes at p begin with the bytes of a tag of one or two bytes.
template <std::uint32_t tag>
bool StartsWithTag(const char* p, const char* e) {
  if constexpr (tag < 0x80) {
    return p != e && *p == static_cast<char>(tag);
  } else {
    static_assert(tag < 0x4000);
    constexpr std::uint16_t kExpected =
        static_cast<std::uint16_t>((tag & 0x7f) | 0x80 | (tag >> 7 << 8));
    std::uint16_t found = 0;
    if (e - p < 2) return false;
    std::memcpy(&found, p, 2);
    return found == kExpected;
  }
}

}  // namespace internal
}  // namespace CmnSys::View

#endif  // CMNSYS_VIEW_VIEW_H_
