#include "io/block_input.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace CmnSys::Tool {
namespace {

// Stays in the cache of a core between the kernel that writes it and us.
constexpr std::size_t kBlockBytes = std::size_t{256} << 10;

}  // namespace

void InputBlock::Release() {
  if (memory.capacity() > kBlockBytes) memory = {};
  bytes = {};
}

bool BlockInput::More() try {
  const std::size_t left = ahead().size();
  if (at_ != memory_.data()) {
    offset_ = ByteCount();
    std::memmove(memory_.data(), at_, left);
    at_ = memory_.data();
    end_ = at_ + left;
  }
  if (left == memory_.size()) {
    memory_.resize(std::max(2 * left, kBlockBytes));
    at_ = memory_.data();
    end_ = at_ + left;
  }
  const std::size_t count = input_.Read(memory_.data() + left, memory_.size() - left);
  end_ += count;
  return count > 0;
} catch (...) {
  error_ = std::current_exception();
  return false;
}

void BlockInput::Take(std::size_t size, InputBlock* block) {
  const std::size_t left = ahead().size() - size;
  std::vector<char> rest = std::move(block->memory);
  if (rest.size() < std::max(left, kBlockBytes)) rest.resize(std::max(left, kBlockBytes));
  if (left > 0) std::memcpy(rest.data(), at_ + size, left);
  block->bytes = ahead().substr(0, size);
  offset_ = ByteCount() + static_cast<std::int64_t>(size);
  block->memory = std::move(memory_);
  memory_ = std::move(rest);
  at_ = memory_.data();
  end_ = at_ + left;
}

void BlockInput::ExpectNoError() const {
  if (error_ != nullptr) std::rethrow_exception(error_);
}

bool BlockInput::Next(const void** data, int* size) {
  if (at_ == end_ && !More()) return false;
  constexpr std::size_t kMost = std::numeric_limits<int>::max();
  const std::size_t given = std::min(ahead().size(), kMost);
  *data = at_;
  *size = static_cast<int>(given);
  at_ += given;
  return true;
}

bool BlockInput::Skip(int count) {
  const void* data = nullptr;
  int size = 0;
  while (count > 0 && Next(&data, &size)) {
    if (size > count) BackUp(size - count);
    count -= size;
  }
  return count <= 0;
}

}  // namespace CmnSys::Tool
