#include "io/buffer.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

namespace CmnSys::Tool {
namespace {

// What a stream is given room for, at least.
constexpr std::size_t kRoom = std::size_t{4} << 10;

}  // namespace

void Buffer::Append(std::string_view bytes) {
  if (bytes.empty()) return;
  Reserve(bytes.size());
  std::memcpy(memory_.get() + size_, bytes.data(), bytes.size());
  size_ += bytes.size();
}

void Buffer::Clear(std::size_t most) {
  size_ = 0;
  if (capacity_ <= most) return;
  memory_.reset();
  capacity_ = 0;
}

bool Buffer::Next(void** data, int* size) {
  if (capacity_ - size_ < kRoom) Reserve(kRoom);
  const std::size_t room = std::min<std::size_t>(capacity_ - size_, INT_MAX);
  *data = memory_.get() + size_;
  *size = static_cast<int>(room);
  size_ += room;
  return true;
}

void Buffer::Reserve(std::size_t more) {
  if (capacity_ - size_ >= more) return;
  const std::size_t capacity = std::max(2 * capacity_, size_ + more);
  auto* const memory = static_cast<char*>(std::realloc(memory_.get(), capacity));
  if (memory == nullptr) throw std::bad_alloc();
  (void)memory_.release();
  memory_.reset(memory);
  capacity_ = capacity;
}

}  // namespace CmnSys::Tool
