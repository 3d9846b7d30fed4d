#include "wire/record_length.h"

namespace CmnSys::Util {

RecordLength::State RecordLength::Add(std::uint8_t byte) {
  constexpr std::size_t kMostLengthBytes = 5;
  value_ |= static_cast<std::uint64_t>(byte & 0x7f) << (7 * size_);
  ++size_;
  const bool ends = byte < 0x80;
  if (value_ > kMostMessageBytes || (!ends && size_ == kMostLengthBytes)) return State::kInvalid;
  return ends ? State::kWhole : State::kUnfinished;
}

std::string EndsInsideLength() { return "the stream ends inside the length of a record"; }

std::string IsNoLength() {
  return "what stands here is no length of a record, which is at most " +
         std::to_string(kMostMessageBytes);
}

std::string IsTooLong(const char* what, std::uint64_t length, std::uint64_t limit) {
  const std::string reason = std::string("the ") + what + " is " + std::to_string(length) +
                             " bytes long but at most " + std::to_string(limit) + " are allowed";
  return limit < kMostMessageBytes ? reason + "; raise the limit if that is right" : reason;
}

std::string EndsInsideRecord(std::uint64_t missing, std::uint64_t length) {
  return "the stream ends " + std::to_string(missing) + " bytes before the record does, which is " +
         std::to_string(length) + " bytes long";
}

}  // namespace CmnSys::Util
