#include "formats/delimited_bytes.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

#include "CmnSys/Util/DelimitedStream.h"
#include "io/failure.h"
#include "wire/record_length.h"

namespace CmnSys::Tool {
namespace {

[[noreturn]] void Throw(const std::string& name, const Util::DelimitedError& error) {
  throw Failure(name + ": " + Util::ToString(error));
}

}  // namespace

void DelimitedBlock::FailInRecord(const std::string& name, std::size_t place,
                                  const std::string& reason) const {
  Throw(name, {records_ - 1, position() - length_ + place, reason});
}

void DelimitedBlock::Release() {
  if (bytes_.capacity() <= usual_bytes_) return;
  bytes_ = {};
  begin_ = at_ = end_ = bytes_.data();
}

DelimitedBytes::DelimitedBytes(const InputOptions& options, std::size_t block_bytes)
    : options_(options), input_(options) {
  block_.usual_bytes_ = block_bytes;
  block_.max_bytes_ = options.max_bytes;
}

DelimitedBytes::DelimitedBytes(const InputOptions& options, std::string_view bytes)
    : options_(options) {
  block_.usual_bytes_ = kBlockBytes;
  block_.max_bytes_ = options.max_bytes;
  block_.bytes_.assign(bytes.begin(), bytes.end());
  block_.at_ = block_.bytes_.data();
  block_.end_ = block_.at_ + bytes.size();
}

bool DelimitedBytes::Take(std::uint64_t most, DelimitedBlock* records) try {
  if (!Gather()) return false;
  const DelimitedBlock ahead = Ahead(most);

  // What is left goes into memory that records had which were taken before.
  const auto left = static_cast<std::size_t>(block_.end_ - ahead.at_);
  std::vector<char> rest = std::move(records->bytes_);
  rest.resize(std::max({rest.size(), left, block_.usual_bytes_}));
  std::memcpy(rest.data(), ahead.at_, left);

  records->bytes_ = std::move(block_.bytes_);
  records->usual_bytes_ = block_.usual_bytes_;
  records->begin_ = records->at_ = block_.at_;
  records->end_ = ahead.at_;
  records->offset_ = block_.offset_;
  records->max_bytes_ = block_.max_bytes_;
  records->records_before_ = records->records_ = block_.records_;

  block_.offset_ += static_cast<std::uint64_t>(ahead.at_ - records->bytes_.data());
  block_.bytes_ = std::move(rest);
  block_.at_ = block_.bytes_.data();
  block_.end_ = block_.at_ + left;
  block_.records_ += ahead.records_;
  return true;
} catch (const std::exception&) {
  return false;  // Next comes to the same place.
}

std::uint64_t DelimitedBytes::Wait(std::uint64_t most) try {
  return Gather() ? Ahead(most).records_ : 0;
} catch (const std::exception&) {
  return 0;
}

// Goes over the records that are in the block, at most so many.
DelimitedBlock DelimitedBytes::Ahead(std::uint64_t most) const {
  DelimitedBlock ahead;
  ahead.at_ = block_.at_;
  ahead.end_ = block_.end_;
  ahead.max_bytes_ = block_.max_bytes_;
  while (ahead.records_ < most && ahead.Next()) {
  }
  return ahead;
}

// Reads until all of the next record is in the block. Returns false at the end of the input.
bool DelimitedBytes::Gather() {
  const std::uint64_t start = position();
  Util::RecordLength length;
  auto state = Util::RecordLength::State::kUnfinished;
  while (state == Util::RecordLength::State::kUnfinished) {
    if (!Refill(length.size() + 1)) {
      if (length.size() == 0) return false;
      Fail(start, Util::EndsInsideLength());
    }
    state = length.Add(static_cast<std::uint8_t>(block_.at_[length.size()]));
  }
  if (state == Util::RecordLength::State::kInvalid) Fail(start, Util::IsNoLength());
  if (length.value() > options_.max_bytes) {
    Fail(start, Util::IsTooLong("record", length.value(), options_.max_bytes) + " (--max-bytes)");
  }
  if (!Refill(length.size() + length.value())) {
    const auto bytes = static_cast<std::uint64_t>(block_.end_ - block_.at_) - length.size();
    Fail(start + length.size() + bytes,
         Util::EndsInsideRecord(length.value() - bytes, length.value()));
  }
  return true;
}

// Reads until at least `wanted` bytes follow; returns false when the input ends before. Memory is
// taken for bytes that have arrived, not for those that a length announces.
bool DelimitedBytes::Refill(std::size_t wanted) {
  std::vector<char>& bytes = block_.bytes_;
  while (static_cast<std::size_t>(block_.end_ - block_.at_) < wanted) {
    const auto left = static_cast<std::size_t>(block_.end_ - block_.at_);
    if (block_.at_ != bytes.data()) {
      block_.offset_ = position();
      std::memmove(bytes.data(), block_.at_, left);
    }
    if (left == bytes.size()) bytes.resize(std::max(2 * left, block_.usual_bytes_));
    block_.at_ = bytes.data();
    const std::size_t count = input_.Read(bytes.data() + left, bytes.size() - left);
    block_.end_ = block_.at_ + left + count;
    if (count == 0) return false;
  }
  return true;
}

void DelimitedBytes::Fail(std::uint64_t offset, const std::string& reason) const {
  Throw(options_.Name(), {block_.records_, offset, reason});
}

}  // namespace CmnSys::Tool
