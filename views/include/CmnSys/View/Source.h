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

// Bytes of a field that is set, from the begin of its view's source; not initialized for others.
struct Piece {
  std::uint32_t offset;
  std::uint32_t size;
};

struct Source {
  // The pieces are the fields reached from the message of these bytes by the tags of the path;
  // without a path that message is the only piece.
  const char* begin = nullptr;
  std::uint32_t size = 0;
  std::uint8_t depth = 0;  // Of the view's message, below the outermost one.
  std::uint8_t path_size = 0;
  bool bad = false;  // Nested too deep.
  std::uint32_t path[kMaxPath];

  Source() = default;
  explicit Source(std::string_view bytes)
      : begin(bytes.data()),
        size(static_cast<std::uint32_t>(bytes.size())),
        bad(bytes.size() > kMaxLength) {
    if (bad) size = 0;
  }

  const char* end() const { return begin + size; }
  std::uint32_t OffsetOf(const char* p) const { return static_cast<std::uint32_t>(p - begin); }
  std::string_view At(Piece piece) const { return {begin + piece.offset, piece.size}; }

  // A sub-message that occurs once. One that is not there is a source without bytes.
  Source Child(std::string_view bytes) const {
    Source child;
    child.begin = bytes.data();
    child.size = static_cast<std::uint32_t>(bytes.size());
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
    begin = nullptr;
    size = 0;
  }
};

// Walks over the occurrences of a field. Not thread-safe; copies are independent.
class Occurrences {
 public:
  static constexpr std::uint32_t kUnknownCount = 0xffffffff;

  Occurrences() = default;

  // The occurrences with one of two tags, which may be the same, of a field of the source's
  // message. `first` is the offset of a place up to which there is none where the source is a
  // single piece; `count` is their number, or kUnknownCount.
  Occurrences(const Source& source, std::uint32_t first, std::uint32_t count, std::uint32_t tag,
              std::uint32_t other_tag)
      : p_(source.begin + (source.path_size == 0 ? first : 0)),
        end_(source.end()),
        left_(source.bad ? 0 : count),
        tag_(tag),
        other_tag_(other_tag),
        depth_left_(static_cast<std::int8_t>(source.depth_left())) {
    if (source.path_size != 0) Follow(source, source.path_size);
  }

  // The pieces of a source with a path.
  explicit Occurrences(const Source& source)
      : p_(source.begin),
        end_(source.end()),
        left_(kUnknownCount),
        tag_(source.path[source.path_size - 1]),
        other_tag_(tag_),
        depth_left_(static_cast<std::int8_t>(source.depth_left() + 1)) {
    if (source.path_size > 1) Follow(source, source.path_size - 1);
  }

  // Goes on to the next occurrence and returns whether there is one. Malformed bytes end the walk.
  bool Next() {
    if (left_ == 0) return End();
    const char* p = p_;
    while (true) {
      if (p == end_) {
        if (path_size_ == 0) return End();
        *this = AtNextPiece(*this);
        if (left_ == 0) return false;
        p = p_;
      }
      std::uint32_t tag = 0;
      p = ReadTag(p, end_, &tag);
      if (p == nullptr) return Fail();
      if (tag == tag_ || tag == other_tag_) return Take(p, tag);
      p = SkipValue(p, end_, tag, depth_left_);
      if (p == nullptr) return Fail();
    }
  }

  // The bytes of the current occurrence's value, those behind the length if that has one.
  std::string_view value() const { return {p_ - size_, size_}; }
  const char* behind() const { return p_; }

  // How many occurrences follow, or kUnknownCount.
  std::uint32_t left() const { return left_ > kMaxLength ? kUnknownCount : left_; }

  // How many levels may stand below the message that the occurrences are in.
  int depth_left() const { return depth_left_; }

  // Whether there was a next occurrence, and whether the walk ended at malformed bytes.
  bool more() const { return state_ == State::kMore; }
  bool failed() const { return state_ == State::kFailed; }
  bool Fail() {
    state_ = State::kFailed;
    left_ = 0;
    return false;
  }

 private:
  enum class State : std::uint8_t { kEnd, kMore, kFailed };

  bool End() {
    if (state_ != State::kFailed) state_ = State::kEnd;
    left_ = 0;
    return false;
  }

  bool Take(const char* p, std::uint32_t tag) {
    const char* behind = nullptr;
    if (WireTypeOf(tag) == kLengthDelimited) {
      std::uint32_t length = 0;
      p = ReadLength(p, end_, &length);
      if (p == nullptr) return Fail();
      behind = p + length;
    } else {
      behind = SkipValue(p, end_, tag, depth_left_);
      if (behind == nullptr) return Fail();
    }
    p_ = behind;
    size_ = static_cast<std::uint32_t>(behind - p);
    --left_;  // An unknown count stays above all that there may be.
    state_ = State::kMore;
    return true;
  }

  [[gnu::noinline]] void Follow(const Source& source, int steps) {
    path_size_ = static_cast<std::uint8_t>(steps);
    depth_left_ = static_cast<std::int8_t>(depth_left_ + steps);
    for (int i = 0; i < steps; ++i) path_[i] = source.path[i];
    NextPieceFrom(p_);
  }

  // By value, so that compilers keep the walk of a loop in registers.
  [[gnu::noinline]] static Occurrences AtNextPiece(Occurrences walk) {
    walk.NextPieceFrom(walk.end_);
    return walk;
  }

  // Moves to the begin of the next message that the path leads to and that is not empty.
  bool NextPieceFrom(const char* p) {
    while (true) {
      if (p == end_) {
        if (level_ == 0) return End();
        --level_;
        ++depth_left_;
        end_ += behind_[level_];
        continue;
      }
      if (level_ == path_size_) {
        p_ = p;
        return true;
      }
      std::uint32_t tag = 0;
      p = ReadTag(p, end_, &tag);
      if (p == nullptr) return Fail();
      if (tag != path_[level_]) {
        p = SkipValue(p, end_, tag, depth_left_);
        if (p == nullptr) return Fail();
        continue;
      }
      std::uint32_t length = 0;
      p = ReadLength(p, end_, &length);
      if (p == nullptr) return Fail();
      behind_[level_++] = static_cast<std::uint32_t>(end_ - p) - length;
      --depth_left_;
      end_ = p + length;
    }
  }

  const char* p_ = nullptr;
  const char* end_ = nullptr;  // Of the message that p_ stands in.
  std::uint32_t size_ = 0;     // Of the value before p_.
  std::uint32_t left_ = 0;
  std::uint32_t tag_ = 0;
  std::uint32_t other_tag_ = 0;
  std::int8_t depth_left_ = 0;
  std::uint8_t path_size_ = 0;
  std::uint8_t level_ = 0;  // Steps of the path that were taken to p_.
  State state_ = State::kEnd;
  // Only with a path, and of the second one what belongs to steps that were taken:
  std::uint32_t path_[kMaxPath];
  std::uint32_t behind_[kMaxPath];  // Bytes between the end of a step's message and that around it.
};

}  // namespace CmnSys::View::internal

#endif  // CMNSYS_VIEW_SOURCE_H_
