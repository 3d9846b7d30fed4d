// Where a view's message stands, and the occurrences of a field in it. For generated views;
// programs use the views.
//
// A sub-message that occurs once is a piece of its parent's bytes. One that occurs again is the
// merger of all its pieces, as if their bytes stood one behind the other: its view then keeps the
// message around it and the way from there, and walks that again.

#ifndef CMNSYS_VIEW_SOURCE_H_
#define CMNSYS_VIEW_SOURCE_H_

#include <cstdint>
#include <string_view>

#include "CmnSys/View/Wire.h"

namespace CmnSys::View::internal {

// The longest way that is kept, in steps: as long as the longest chain of singular sub-messages in
// this schema. A view further down in a chain of another schema, where a sub-message further up
// occurs twice, has an error.
constexpr int kMaxPath = 6;

struct Source {
  // The pieces are the fields reached from the message [begin, end) by the tags of the path;
  // without a path that message is the only piece.
  const char* begin = nullptr;
  const char* end = nullptr;
  std::uint8_t depth = 0;  // Of the view's message, below the outermost one.
  std::uint8_t path_size = 0;
  bool bad = false;  // Nested too deep.
  std::uint32_t path[kMaxPath];

  Source() = default;
  explicit Source(std::string_view bytes)
      : begin(bytes.data()), end(bytes.data() + bytes.size()), bad(bytes.size() > kMaxLength) {
    if (bad) end = begin;
  }
  // Copies as much of the path as there is.
  Source(const Source& other)
      : begin(other.begin),
        end(other.end),
        depth(other.depth),
        path_size(other.path_size),
        bad(other.bad) {
    for (int i = 0; i < path_size; ++i) path[i] = other.path[i];
  }
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): it copies onto itself what is there.
  Source& operator=(const Source& other) {
    begin = other.begin;
    end = other.end;
    depth = other.depth;
    path_size = other.path_size;
    bad = other.bad;
    for (int i = 0; i < path_size; ++i) path[i] = other.path[i];
    return *this;
  }
  ~Source() = default;

  // A sub-message that occurs once. One that is not there is a source without bytes.
  Source Child(std::string_view bytes) const {
    Source child;
    child.begin = bytes.data();
    child.end = bytes.data() + bytes.size();
    child.depth = static_cast<std::uint8_t>(depth + 1);
    if (child.depth > kMaxDepth) child.SetBad();
    return child;
  }

  // A sub-message that occurs several times in what is read here.
  [[gnu::noinline]] Source SplitChild(std::uint32_t tag) const {
    Source child(*this);
    child.depth = static_cast<std::uint8_t>(depth + 1);
    if (child.depth > kMaxDepth || path_size == kMaxPath) {
      child.SetBad();
    } else {
      child.path[child.path_size++] = tag;
    }
    return child;
  }

  // How deep may be nested below the view's message.
  int depth_left() const { return kMaxDepth - depth; }

 private:
  void SetBad() {
    bad = true;
    depth = kMaxDepth;
    path_size = 0;
    begin = end = nullptr;
  }
};

// Walks over the occurrences of a field. Not thread-safe; copies are independent.
class Occurrences {
 public:
  static constexpr std::uint32_t kUnknownCount = 0xffffffff;

  Occurrences() = default;

  // The occurrences with one of two tags, which may be the same, of a field of the source's
  // message. `first` is a place up to which there is none where the source is a single piece;
  // `count` is their number, or kUnknownCount.
  Occurrences(const Source& source, const char* first, std::uint32_t count, std::uint32_t tag,
              std::uint32_t other_tag)
      : p_(source.path_size == 0 ? first : source.begin),
        end_(source.end),
        left_(source.bad ? 0 : count),
        tag_(tag),
        other_tag_(other_tag),
        depth_left_(static_cast<std::int8_t>(source.depth_left())),
        path_size_(source.path_size) {
    if (path_size_ != 0) KeepPath(source);
  }

  // The pieces of a source with a path.
  explicit Occurrences(const Source& source)
      : p_(source.begin),
        end_(source.end),
        left_(kUnknownCount),
        tag_(source.path[source.path_size - 1]),
        other_tag_(tag_),
        depth_left_(static_cast<std::int8_t>(source.depth_left() + 1)),
        path_size_(static_cast<std::uint8_t>(source.path_size - 1)) {
    if (path_size_ != 0) KeepPath(source);
  }

  // Goes on to the next occurrence and returns whether there is one. Malformed bytes end the walk.
  bool Next() {
    if (left_ == 0) return false;
    while (true) {
      while (level_ == path_size_ && p_ != end_) {
        std::uint32_t tag = 0;
        const char* p = ReadTag(p_, end_, &tag);
        if (p == nullptr) return Fail();
        if (tag != tag_ && tag != other_tag_) {
          p_ = SkipValue(p, end_, tag, depth_left_);
          if (p_ == nullptr) return Fail();
          continue;
        }
        std::uint32_t length = 0;
        if (WireTypeOf(tag) == kLengthDelimited) {
          p = ReadLength(p, end_, &length);
          if (p == nullptr) return Fail();
          p_ = p + length;
        } else {
          p_ = SkipValue(p, end_, tag, depth_left_);
          if (p_ == nullptr) return Fail();
        }
        value_ = {p, static_cast<std::size_t>(p_ - p)};
        has_first_tag_ = tag == tag_;
        if (left_ != kUnknownCount) --left_;
        return true;
      }
      if (!NextPiece()) return false;
    }
  }

  // Of the current occurrence: whether its tag is the first one of the two, and the bytes of its
  // value, those behind the length if that has one.
  bool has_first_tag() const { return has_first_tag_; }
  std::string_view value() const { return value_; }

  // How many occurrences follow, or kUnknownCount.
  std::uint32_t left() const { return left_; }

  // Whether the walk ended at malformed bytes.
  bool failed() const { return failed_; }
  bool Fail() {
    failed_ = true;
    left_ = 0;
    return false;
  }

 private:
  void KeepPath(const Source& source) {
    outermost_ = source.begin;
    depth_left_ = static_cast<std::int8_t>(depth_left_ + path_size_);
    for (int i = 0; i < path_size_; ++i) path_[i] = source.path[i];
  }

  // Moves to the begin of the next message that the path leads to and that is not empty.
  [[gnu::noinline]] bool NextPiece() {
    while (path_size_ != 0) {
      if (p_ == end_) {
        if (level_ == 0) break;
        --level_;
        ++depth_left_;
        end_ = outermost_ + ends_[level_];
        continue;
      }
      if (level_ == path_size_) return true;
      std::uint32_t tag = 0;
      const char* p = ReadTag(p_, end_, &tag);
      if (p == nullptr) return Fail();
      if (tag == path_[level_]) {
        std::uint32_t length = 0;
        p = ReadLength(p, end_, &length);
        if (p == nullptr) return Fail();
        ends_[level_++] = static_cast<std::uint32_t>(end_ - outermost_);
        --depth_left_;
        p_ = p;
        end_ = p + length;
      } else {
        p_ = SkipValue(p, end_, tag, depth_left_);
        if (p_ == nullptr) return Fail();
      }
    }
    left_ = 0;
    return false;
  }

  const char* p_ = nullptr;
  const char* end_ = nullptr;  // Of the message that p_ stands in.
  std::string_view value_;
  std::uint32_t left_ = 0;
  std::uint32_t tag_ = 0;
  std::uint32_t other_tag_ = 0;
  std::int8_t depth_left_ = 0;
  std::uint8_t path_size_ = 0;
  std::uint8_t level_ = 0;  // Steps of the path that were taken to p_.
  bool failed_ = false;
  bool has_first_tag_ = false;
  // Only with a path:
  const char* outermost_ = nullptr;
  std::uint32_t path_[kMaxPath] = {};
  std::uint32_t ends_[kMaxPath] = {};  // Of the messages around p_, from the outermost one's begin.
};

}  // namespace CmnSys::View::internal

#endif  // CMNSYS_VIEW_SOURCE_H_
