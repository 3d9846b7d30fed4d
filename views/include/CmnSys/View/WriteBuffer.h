// The memory that generated writers write messages into.

#ifndef CMNSYS_VIEW_WRITE_BUFFER_H_
#define CMNSYS_VIEW_WRITE_BUFFER_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "CmnSys/View/Wire.h"

namespace CmnSys::View {

namespace internal {

class MessageWriter;

// Ends a program that uses writers as they cannot be used: going on would write other bytes than
// it means.
[[noreturn, gnu::noinline, gnu::cold]] inline void Misuse(const char* what) noexcept {
  std::fprintf(stderr, "CmnSys::View: %s\n", what);
  std::abort();
}

// Where to write next, and from where on there has to be more room first.
struct Cursor {
  char* p;
  char* limit;
};

// How many bytes may be written at the limit: a tag, a length and a short text.
constexpr std::size_t kSlack = 64;

// How many bytes a length takes.
constexpr std::size_t LengthSize(std::size_t length) {
  std::size_t size = 1;
  for (; length >= 0x80; length >>= 7) ++size;
  return size;
}

}  // namespace internal

// Holds one message at a time and grows as needed; no more memory is asked for once it is as large
// as the largest message. Keeping a buffer for many messages of a kind also saves moving bytes: it
// remembers how long the lengths of their sub-messages were. Not thread-safe.
class WriteBuffer {
 public:
  // The message may have up to max_size bytes; the most that a parser takes is the default.
  explicit WriteBuffer(std::size_t max_size = kMaxLength)
      : max_size_(std::min<std::size_t>(max_size, kMaxLength)) {
    std::memset(length_sizes_, 1, sizeof length_sizes_);
  }

  // No writer may be open; the program ends otherwise.
  ~WriteBuffer() { RequireClosed(); }
  WriteBuffer(const WriteBuffer&) = delete;
  WriteBuffer& operator=(const WriteBuffer&) = delete;

  // The message that was written last, until the next one is begun; empty before the first one and
  // when there was an error. Its writer must have been closed; the program ends otherwise. They
  // cannot be written into this buffer again, where the next message takes their place: the program
  // ends for more than 32 of them.
  std::string_view bytes() const {
    RequireClosed();
    return {memory_.data(), size_};
  }

  // Whether the message that was written last had more than max_size bytes. Looked at when its
  // writer has been closed.
  bool HasError() const { return failed_; }

  // Gives the message away without copying it. The buffer is empty then and has no memory.
  std::string Take() {
    RequireClosed();
    memory_.resize(size_);
    size_ = 0;
    return std::exchange(memory_, std::string());
  }

 private:
  friend class internal::MessageWriter;
  using Cursor = internal::Cursor;
  static constexpr std::size_t kSlack = internal::kSlack;

  void RequireClosed() const {
    if (open_) internal::Misuse("a buffer was used while the writer of its message is open");
  }

  char* begin() { return memory_.data(); }

  void RequireForeign(std::string_view bytes) const {
    const auto place = reinterpret_cast<std::uintptr_t>(bytes.data()) -
                       reinterpret_cast<std::uintptr_t>(memory_.data());
    if (place < memory_.size()) internal::Misuse("a buffer was given bytes of its own");
  }

  // From where on nothing may be begun: the end of the memory, or of what a message may have.
  Cursor CursorAt(std::size_t used) {
    const std::size_t usable = memory_.size() - kSlack;
    return {begin() + used, begin() + (failed_ ? usable : std::min(usable, max_size_))};
  }

  Cursor Begin() {
    RequireClosed();
    open_ = true;
    failed_ = false;
    size_ = 0;
    if (memory_.size() < kLeastMemory) memory_.resize(kLeastMemory);
    return CursorAt(0);
  }

  void End(const char* p) {
    size_ = static_cast<std::size_t>(p - begin());
    if (size_ > max_size_) failed_ = true;
    if (failed_) size_ = 0;
    open_ = false;
  }

  // What is written from now on goes nowhere.
  Cursor Fail() {
    failed_ = true;
    return CursorAt(0);
  }

  // Makes room for so many bytes and the slack. Where there can be none the message fails.
  [[gnu::noinline, gnu::cold]] static Cursor MakeRoom(WriteBuffer* buffer, const char* p,
                                                      std::size_t more) {
    if (p == nullptr) {
      internal::Misuse(buffer == nullptr ? "a writer was used after it was closed"
                                         : "a writer was used while a nested one of it is open");
    }
    return buffer->Grow(static_cast<std::size_t>(p - buffer->begin()), more);
  }

  Cursor Grow(std::size_t used, std::size_t more) {
    if (failed_ || more > max_size_ || used > max_size_ - more) return Fail();
    const std::size_t needed = used + more + 2 * kSlack;
    if (memory_.size() < needed) {
      memory_.resize(std::min(std::max(needed, 2 * memory_.size()), max_size_ + 2 * kSlack));
    }
    return CursorAt(used);
  }

  // Writes the length of what begins at `start`, of which `reserved` bytes stand before it.
  [[gnu::noinline]] Cursor PutLength(char* p, char* limit, std::size_t start, std::size_t reserved,
                                     std::uint8_t* expected) {
    if (failed_) return CursorAt(0);
    std::size_t used = static_cast<std::size_t>(p - begin());
    const std::size_t length = used - start;
    const std::size_t size = internal::LengthSize(length);
    if (size != reserved) {
      *expected = static_cast<std::uint8_t>(size);
      if (used + size > memory_.size()) {
        limit = Grow(used, size).limit;
        if (failed_) return CursorAt(0);
      }
      std::memmove(begin() + start + size - reserved, begin() + start, length);
      used += size - reserved;
    }
    char* at = begin() + start - reserved;
    std::size_t rest = length;
    for (; rest >= 0x80; rest >>= 7) *at++ = static_cast<char>(rest | 0x80);
    *at = static_cast<char>(rest);
    return {begin() + used, limit};
  }

  static constexpr std::size_t kLeastMemory = 1024;

  std::string memory_;
  std::size_t size_ = 0;
  std::size_t max_size_;
  bool open_ = false;
  bool failed_ = false;
  // How many bytes the length of a sub-message is likely to take, by its tag.
  std::uint8_t length_sizes_[64];
};

}  // namespace CmnSys::View

#endif  // CMNSYS_VIEW_WRITE_BUFFER_H_
