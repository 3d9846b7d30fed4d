#include "formats/delimited_bytes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "CmnSys/Util/DelimitedStream.h"
#include "CmnSys/View/Wire.h"
#include "io/failure.h"

namespace CmnSys::Tool {
namespace {

// Stays in the cache of a core between the kernel that writes it and us.
constexpr std::size_t kBlockBytes = std::size_t{256} << 10;

constexpr std::uint64_t kMostBytes = (std::uint64_t{1} << 31) - 1;
constexpr std::size_t kLongestLength = 5;

}  // namespace

DelimitedBytes::DelimitedBytes(const InputOptions& options)
    : options_(options), block_(kBlockBytes), end_(block_.data()), at_(end_) {
  descriptor_ =
      options.path == "-" ? STDIN_FILENO : ::open(options.path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor_ < 0) {
    throw Failure("cannot read " + options.Name() + ": " + std::strerror(errno));
  }
}

DelimitedBytes::~DelimitedBytes() {
  if (descriptor_ != STDIN_FILENO) ::close(descriptor_);
}

bool DelimitedBytes::Next() {
  message_ = View::ReadLength(at_, end_, &length_);
  if (message_ == nullptr || length_ > options_.max_bytes) return NextAcrossBlocks();
  start_ = at_;
  at_ = message_ + length_;
  ++records_;
  return true;
}

// Goes on where the block does not hold all of the record, or something else stands there.
bool DelimitedBytes::NextAcrossBlocks() {
  const std::uint64_t start = position();
  ++records_;
  std::uint64_t length = 0;
  std::size_t length_size = 0;
  for (bool more = true; more; ++length_size) {
    if (!Refill(length_size + 1)) {
      if (length_size == 0) return false;
      Fail(start, "the stream ends inside the length of a record");
    }
    const auto byte = static_cast<unsigned char>(at_[length_size]);
    length |= static_cast<std::uint64_t>(byte & 0x7f) << (7 * length_size);
    more = byte >= 0x80;
    if (length > kMostBytes || (more && length_size + 1 == kLongestLength)) {
      Fail(start, "what stands here is no length of a record, which is at most 2147483647");
    }
  }
  if (length > options_.max_bytes) {
    Fail(start, "the record is " + std::to_string(length) + " bytes long but at most " +
                    std::to_string(options_.max_bytes) +
                    " are allowed; raise the limit if that is right (--max-bytes)");
  }
  if (!Refill(length_size + length)) {
    const auto bytes = static_cast<std::uint64_t>(end_ - at_) - length_size;
    Fail(start + length_size + bytes, "the stream ends " + std::to_string(length - bytes) +
                                          " bytes before the record does, which is " +
                                          std::to_string(length) + " bytes long");
  }
  start_ = at_;
  message_ = at_ + length_size;
  length_ = static_cast<std::uint32_t>(length);
  at_ = message_ + length_;
  return true;
}

// Reads until at least `wanted` bytes follow; returns false when the input ends before. Memory is
// taken for bytes that have arrived, not for those that a length announces.
bool DelimitedBytes::Refill(std::size_t wanted) {
  while (static_cast<std::size_t>(end_ - at_) < wanted) {
    const auto left = static_cast<std::size_t>(end_ - at_);
    offset_ += static_cast<std::uint64_t>(at_ - block_.data());
    std::memmove(block_.data(), at_, left);
    if (left == block_.size()) block_.resize(2 * left);
    at_ = block_.data();
    end_ = at_ + left;
    const ssize_t count = ::read(descriptor_, block_.data() + left, block_.size() - left);
    if (count == 0) return false;
    if (count > 0) {
      end_ += count;
    } else if (errno != EINTR) {
      throw Failure("cannot read " + options_.Name() + ": " + std::strerror(errno));
    }
  }
  return true;
}

void DelimitedBytes::Fail(std::uint64_t offset, const std::string& reason) const {
  throw Failure(options_.Name() + ": " + Util::ToString({records_ - 1, offset, reason}));
}

void DelimitedBytes::FailInRecord(std::size_t place, const std::string& reason) const {
  Fail(position() - length_ + place, reason);
}

}  // namespace CmnSys::Tool
