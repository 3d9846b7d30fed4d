// Repeated fields of views: ranges whose elements are read when they are asked for.
//
// A range holds no elements, only where they are, so it is cheap to make and to copy and may
// outlive the view it came from, but not the bytes. Iterators are input iterators: each reads on by
// itself. Elements end where the bytes are malformed, and HasError tells so.

#ifndef CMNSYS_VIEW_RANGE_H_
#define CMNSYS_VIEW_RANGE_H_

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <type_traits>
#include <utility>

#include "CmnSys/View/Source.h"
#include "CmnSys/View/Wire.h"

namespace CmnSys::View {

namespace internal {

// How one value of a scalar field is read: Read returns the place behind it or null, and sets
// *known to false for a number that its closed enum does not have.
template <typename T, WireType type, T (*convert)(std::uint64_t)>
struct VarintFormat {
  using Value = T;
  static constexpr WireType kWireType = type;
  static constexpr T Convert(std::uint64_t number) { return convert(number); }
  static const char* Read(const char* p, const char* e, T* value, bool* /*known*/) {
    std::uint64_t number = 0;
    p = ReadVarint(p, e, &number);
    *value = convert(number);
    return p;
  }
};

template <typename T>
constexpr T Truncate(std::uint64_t number) {
  return static_cast<T>(number);
}
constexpr bool IsNotZero(std::uint64_t number) { return number != 0; }
constexpr std::int32_t FromZigZag32(std::uint64_t number) {
  return DecodeZigZag32(static_cast<std::uint32_t>(number));
}
constexpr std::int64_t FromZigZag64(std::uint64_t number) { return DecodeZigZag64(number); }

using Int32 = VarintFormat<std::int32_t, kVarint, Truncate<std::int32_t>>;
using Int64 = VarintFormat<std::int64_t, kVarint, Truncate<std::int64_t>>;
using UInt32 = VarintFormat<std::uint32_t, kVarint, Truncate<std::uint32_t>>;
using UInt64 = VarintFormat<std::uint64_t, kVarint, Truncate<std::uint64_t>>;
using SInt32 = VarintFormat<std::int32_t, kVarint, FromZigZag32>;
using SInt64 = VarintFormat<std::int64_t, kVarint, FromZigZag64>;
using Bool = VarintFormat<bool, kVarint, IsNotZero>;

template <typename T, WireType type>
struct FixedFormat {
  using Value = T;
  static constexpr WireType kWireType = type;
  static const char* Read(const char* p, const char* e, T* value, bool* /*known*/) {
    return ReadFixed(p, e, value);
  }
};

using Fixed32 = FixedFormat<std::uint32_t, kFixed32>;
using SFixed32 = FixedFormat<std::int32_t, kFixed32>;
using Float = FixedFormat<float, kFixed32>;
using Fixed64 = FixedFormat<std::uint64_t, kFixed64>;
using SFixed64 = FixedFormat<std::int64_t, kFixed64>;
using Double = FixedFormat<double, kFixed64>;

// Whether an enum has the number; specialized by the header of each schema file for its enums.
template <typename Enum>
constexpr bool HasNumber(std::int32_t number) = delete;

template <typename E>
struct EnumFormat {
  using Value = E;
  static constexpr WireType kWireType = kVarint;
  static const char* Read(const char* p, const char* e, E* value, bool* known) {
    std::uint64_t number = 0;
    p = ReadVarint(p, e, &number);
    *known = HasNumber<E>(static_cast<std::int32_t>(number));
    *value = static_cast<E>(static_cast<std::int32_t>(number));
    return p;
  }
};

// Keeps an element alive while one of its members is used.
template <typename T>
class Arrow {
 public:
  explicit Arrow(T element) : element_(std::move(element)) {}
  const T* operator->() const { return &element_; }
  const T& operator*() const { return element_; }

 private:
  T element_;
};

// What ranges have in common; Walk is copied for each iteration and has Next(), more(), count(),
// element() and failed().
template <typename Walk>
class Range {
 public:
  using value_type = typename Walk::Element;

  class const_iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = typename Walk::Element;
    using difference_type = std::ptrdiff_t;
    using reference = value_type;
    using pointer = Arrow<value_type>;

    const_iterator() = default;
    explicit const_iterator(const Walk& walk) : walk_(walk) { walk_.Next(); }

    value_type operator*() const { return walk_.element(); }
    pointer operator->() const { return pointer(walk_.element()); }
    const_iterator& operator++() {
      walk_.Next();
      return *this;
    }
    Arrow<value_type> operator++(int) {
      pointer before(walk_.element());
      ++*this;
      return before;
    }

    // Iterators of one range are equal when they are both at its end, or neither is.
    friend bool operator==(const const_iterator& a, const const_iterator& b) {
      return a.walk_.more() == b.walk_.more();
    }
    friend bool operator!=(const const_iterator& a, const const_iterator& b) { return !(a == b); }

   private:
    Walk walk_;
  };
  using iterator = const_iterator;

  explicit Range(const Walk& walk) : walk_(walk) {}

  // The elements in the order of the bytes. An iterator reads up to the first element when it is
  // made and to the next one in each step, and is valid as long as the bytes are.
  const_iterator begin() const { return const_iterator(walk_); }
  const_iterator end() const { return const_iterator(); }

  // Whether there is no element; reads up to the first one.
  bool empty() const { return begin() == end(); }

  // For numbers, in messages that have nothing but lists, and for lists that were made of bytes,
  // walks over all elements; else takes no time.
  int size() const {
    Walk walk = walk_;
    if (walk.count() != Occurrences::kUnknownCount) return static_cast<int>(walk.count());
    int count = 0;
    while (walk.Next()) ++count;
    return count;
  }

  // Walks over all elements and tells whether malformed bytes end them early. What is in elements
  // that are messages is not looked at.
  bool HasError() const {
    Walk walk = walk_;
    while (walk.Next()) {
    }
    return walk.failed();
  }

 private:
  Walk walk_;
};

template <typename View>
class MessageWalk {
 public:
  using Element = View;

  MessageWalk() = default;
  MessageWalk(const Source& source, std::uint32_t first, std::uint32_t count, std::uint32_t tag)
      : occurrences_(source, first, count, tag, tag) {}

  bool Next() { return occurrences_.Next(); }
  bool more() const { return occurrences_.more(); }
  std::uint32_t count() const { return occurrences_.left(); }
  bool failed() const { return occurrences_.failed(); }
  View element() const {
    Source parent;
    parent.depth = static_cast<std::uint8_t>(kMaxDepth - occurrences_.depth_left());
    return View(parent.Child(occurrences_.value()));
  }

 private:
  Occurrences occurrences_;
};

class BytesWalk {
 public:
  using Element = std::string_view;

  BytesWalk() = default;
  BytesWalk(const Source& source, std::uint32_t first, std::uint32_t count, std::uint32_t tag)
      : occurrences_(source, first, count, tag, tag) {}

  bool Next() { return occurrences_.Next(); }
  bool more() const { return occurrences_.more(); }
  std::uint32_t count() const { return occurrences_.left(); }
  bool failed() const { return occurrences_.failed(); }
  std::string_view element() const { return occurrences_.value(); }

 private:
  Occurrences occurrences_;
};

// Elements stand by themselves or many together ("packed"), in any mixture.
template <typename Format>
class ScalarWalk {
 public:
  using Element = typename Format::Value;

  ScalarWalk() = default;
  ScalarWalk(const Source& source, std::uint32_t first, std::uint32_t count, std::uint32_t field)
      : occurrences_(source, first, count, MakeTag(field, kLengthDelimited),
                     MakeTag(field, Format::kWireType)),
        p_(occurrences_.behind()) {}

  bool Next() {
    while (true) {
      if (p_ == occurrences_.behind()) {
        if (!occurrences_.Next()) return false;
        p_ = occurrences_.value().data();
        continue;
      }
      bool known = true;
      p_ = Format::Read(p_, occurrences_.behind(), &element_, &known);
      if (p_ == nullptr) {
        p_ = occurrences_.behind();
        return occurrences_.Fail();
      }
      if (known) return true;
    }
  }
  bool more() const { return occurrences_.more(); }
  // An occurrence may hold any number of elements.
  static std::uint32_t count() { return Occurrences::kUnknownCount; }
  bool failed() const { return occurrences_.failed(); }
  Element element() const { return element_; }

 private:
  Occurrences occurrences_;
  Element element_ = {};
  const char* p_ = nullptr;  // What was not read yet of the occurrence begins here.
};

}  // namespace internal

// The elements of a repeated field of messages, as views.
template <typename View>
using MessageRange = internal::Range<internal::MessageWalk<View>>;

// The elements of a repeated field of strings or bytes.
using BytesRange = internal::Range<internal::BytesWalk>;

// The elements of a repeated field of numbers, bools or enums. Numbers that a closed enum does not
// have are left out.
template <typename Format>
using ScalarRange = internal::Range<internal::ScalarWalk<Format>>;

}  // namespace CmnSys::View

#endif  // CMNSYS_VIEW_RANGE_H_
