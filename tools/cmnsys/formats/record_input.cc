#include "formats/record_input.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace CmnSys::Tool {
namespace {

// More that stands before a record is not gathered for another thread, nor are longer records: what
// a stream of protobuf's gives at once is less than 2 GiB.
constexpr std::size_t kMostBytesBefore = std::size_t{64} << 10;
constexpr std::uint64_t kMostRecordBytes = std::uint64_t{1} << 30;

}  // namespace

RecordInput::RecordInput(const InputOptions& options, std::unique_ptr<RecordEnds> ends)
    : input_(options),
      ends_(std::move(ends)),
      max_bytes_(std::min(options.max_bytes, kMostRecordBytes)) {}

BlockInput* RecordInput::stream() {
  ends_->Reset();
  found_.clear();
  unknown_ = false;
  return &input_;
}

std::uint64_t RecordInput::Wait(std::uint64_t most) try {
  while (found_.size() < most && !unknown_) {
    const std::string_view ahead = input_.ahead();
    const RecordEnds::Found found = ends_->Next(ahead);
    const std::size_t before = found_.empty() ? 0 : found_.back();
    const std::size_t end = found == RecordEnds::Found::kRecord ? ends_->end() : ahead.size();
    unknown_ = found == RecordEnds::Found::kUnknown || end - ends_->begin() > max_bytes_ ||
               ends_->begin() - before > kMostBytesBefore;
    if (unknown_) break;
    if (found == RecordEnds::Found::kRecord) {
      found_.push_back(end);
    } else if (!found_.empty() || !input_.More()) {
      break;
    }
  }
  return std::min<std::uint64_t>(found_.size(), most);
} catch (const std::exception&) {
  return 0;
}

bool RecordInput::Take(std::uint64_t most, InputBlock* block) try {
  const auto count = static_cast<std::ptrdiff_t>(Wait(most));
  if (count == 0) return false;
  const std::size_t size = found_[static_cast<std::size_t>(count) - 1];
  input_.Take(size, block);
  ends_->Drop(size);
  found_.erase(found_.begin(), found_.begin() + count);
  for (std::size_t& end : found_) end -= size;
  return true;
} catch (const std::exception&) {
  return false;
}

}  // namespace CmnSys::Tool
