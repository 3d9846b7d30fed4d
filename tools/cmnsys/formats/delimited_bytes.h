// Delimited messages as bytes, for commands that make no objects of most of them.

#ifndef CMNSYS_TOOLS_FORMATS_DELIMITED_BYTES_H_
#define CMNSYS_TOOLS_FORMATS_DELIMITED_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "io/input.h"

namespace CmnSys::Tool {

// Reads an input in blocks, in the memory of one block or of the longest record. Not thread-safe.
class DelimitedBytes {
 public:
  // Throws Failure when the input cannot be opened. The options must outlive this.
  explicit DelimitedBytes(const InputOptions& options);
  ~DelimitedBytes();
  DelimitedBytes(const DelimitedBytes&) = delete;
  DelimitedBytes& operator=(const DelimitedBytes&) = delete;

  // Goes to the next record; returns false at the end of the input. Throws Failure when the input
  // cannot be read, or no record stands there.
  bool Next();

  // The record's bytes, alone and with their length in front; valid until the next call of Next.
  std::string_view message() const { return {message_, length_}; }
  std::string_view delimited() const {
    return {start_, static_cast<std::size_t>(message_ - start_) + length_};
  }

  // Bytes of the input up to the end of the record.
  std::uint64_t position() const {
    return offset_ + static_cast<std::uint64_t>(at_ - block_.data());
  }

  // Throws Failure that tells of the record, with the place in it in bytes.
  [[noreturn]] void FailInRecord(std::size_t place, const std::string& reason) const;

 private:
  bool NextAcrossBlocks();
  bool Refill(std::size_t wanted);
  [[noreturn]] void Fail(std::uint64_t offset, const std::string& reason) const;

  const InputOptions& options_;
  int descriptor_ = -1;
  std::vector<char> block_;
  const char* end_ = nullptr;  // Of the bytes in the block.
  std::uint64_t offset_ = 0;   // Of the block's beginning in the input.
  const char* at_ = nullptr;   // Where the next record begins.
  std::uint64_t records_ = 0;  // Begun so far.
  const char* start_ = nullptr;
  const char* message_ = nullptr;
  std::uint32_t length_ = 0;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_DELIMITED_BYTES_H_
