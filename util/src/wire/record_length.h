// The length in front of each record of a delimited stream, and what is said where no record
// stands.

#ifndef CMNSYS_UTIL_SRC_WIRE_RECORD_LENGTH_H_
#define CMNSYS_UTIL_SRC_WIRE_RECORD_LENGTH_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace CmnSys::Util {

// What protobuf can parse.
constexpr std::uint64_t kMostMessageBytes = (std::uint64_t{1} << 31) - 1;

// Takes a length byte by byte.
class RecordLength {
 public:
  enum class State {
    kUnfinished,
    kWhole,
    kInvalid,  // No record has this length: more than a varint may take, or than protobuf can
               // parse.
  };
  State Add(std::uint8_t byte);

  std::uint64_t value() const { return value_; }
  // Bytes that the length itself takes.
  std::size_t size() const { return size_; }

 private:
  std::uint64_t value_ = 0;
  std::size_t size_ = 0;
};

// Reasons why something could not be read or written.
std::string EndsInsideLength();
std::string IsNoLength();
// `what` is "record" or "message".
std::string IsTooLong(const char* what, std::uint64_t length, std::uint64_t limit);
std::string EndsInsideRecord(std::uint64_t missing, std::uint64_t length);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_WIRE_RECORD_LENGTH_H_
