#ifndef CMNSYS_UTIL_SRC_JSON_JSON_INPUT_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_INPUT_H_

#include <google/protobuf/io/zero_copy_stream.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace CmnSys::Util {

// RapidJSON's input stream on protobuf's, which knows lines and columns and limits the length.
//
// A 0 byte stands for the end of the text, as RapidJSON has it; AtEnd tells it from a real one.
class JsonInput {
 public:
  using Ch = char;

  explicit JsonInput(google::protobuf::io::ZeroCopyInputStream* input) : input_(input) {}
  ~JsonInput() {
    if (next_ != block_end_) input_->BackUp(static_cast<int>(block_end_ - next_));
  }
  JsonInput(const JsonInput&) = delete;
  JsonInput& operator=(const JsonInput&) = delete;

  // For RapidJSON.
  char Peek() { return next_ != end_ || Refill() ? *next_ : '\0'; }
  char Take() {
    const char c = Peek();
    if (next_ == end_) return c;
    ++next_;
    ++position_;
    if (c == '\n') {
      ++line_;
      line_start_ = position_;
    }
    if (in_string_) {
      in_string_ = c != '"' || escaped_;
      escaped_ = c == '\\' && !escaped_;
    } else if (c == '"') {
      in_string_ = true;
      string_start_ = position_ - 1;
    }
    return c;
  }
  std::size_t Tell() const { return static_cast<std::size_t>(position_); }

  // For RapidJSON to compile; it calls these for parsing in place only.
  char* PutBegin() { return nullptr; }
  void Put(char) {}
  void Flush() {}
  std::size_t PutEnd(char*) { return 0; }

  // Lets at most this many further bytes be read.
  void Limit(std::uint64_t bytes) {
    limit_ = position_ + bytes;
    SetEnd();
  }
  bool LimitReached() { return next_ == end_ && position_ >= limit_; }

  bool AtEnd() { return next_ == end_ && !Refill(); }

  // Positions, in bytes from the beginning of the input.
  std::uint64_t position() const { return position_; }
  std::uint64_t string_start() const { return string_start_; }  // Of the last string taken.

  // Line of the current position, and column on it of a place there; both from 1.
  std::uint64_t line() const { return line_; }
  std::uint64_t ColumnOf(std::uint64_t place) const {
    return place >= line_start_ ? place - line_start_ + 1 : 1;
  }

 private:
  bool Refill() {
    if (position_ >= limit_) return false;
    while (next_ == block_end_) {
      const void* data = nullptr;
      int size = 0;
      if (!input_->Next(&data, &size)) return false;
      next_ = static_cast<const char*>(data);
      block_end_ = next_ + size;
    }
    SetEnd();
    return true;
  }

  void SetEnd() {
    const auto left = static_cast<std::uint64_t>(block_end_ - next_);
    end_ = next_ + std::min(left, limit_ - position_);
  }

  google::protobuf::io::ZeroCopyInputStream* input_;
  const char* next_ = nullptr;
  const char* end_ = nullptr;        // Of the bytes that the limit allows.
  const char* block_end_ = nullptr;  // Of the bytes that the input has handed out.
  std::uint64_t position_ = 0;
  std::uint64_t limit_ = UINT64_MAX;
  std::uint64_t line_ = 1;
  std::uint64_t line_start_ = 0;
  std::uint64_t string_start_ = 0;
  bool in_string_ = false;
  bool escaped_ = false;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_INPUT_H_
