// Delimited messages as bytes.

#ifndef CMNSYS_TOOLS_FORMATS_DELIMITED_BYTES_H_
#define CMNSYS_TOOLS_FORMATS_DELIMITED_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "CmnSys/View/Wire.h"
#include "io/input.h"
#include "io/interruptible_input.h"

namespace CmnSys::Tool {

// Delimited messages in memory, one behind the other, and which of them is at hand. Not
// thread-safe.
class DelimitedBlock {
 public:
  // Goes to the next record; returns false when the block holds no further one, or not all of it.
  bool Next() {
    const char* const message = View::ReadLength(at_, end_, &length_);
    if (message == nullptr || length_ > max_bytes_) return false;
    start_ = at_;
    message_ = message;
    at_ = message_ + length_;
    ++records_;
    return true;
  }

  // Goes back by one record, or before the first one, from which Next then goes on.
  void Back() {
    at_ = start_;
    --records_;
  }
  void Rewind() {
    at_ = begin_;
    records_ = records_before_;
  }

  // The record's bytes, alone and with their length in front; valid as long as the block is.
  std::string_view message() const { return {message_, length_}; }
  std::string_view delimited() const {
    return {start_, static_cast<std::size_t>(message_ - start_) + length_};
  }

  // Bytes of the input up to the end of the record.
  std::uint64_t position() const {
    return offset_ + static_cast<std::uint64_t>(at_ - bytes_.data());
  }

  // Throws Failure that tells of the record, with the place in it in bytes. `name` is that of the
  // input.
  [[noreturn]] void FailInRecord(const std::string& name, std::size_t place,
                                 const std::string& reason) const;

  // Memory that the block takes.
  std::size_t capacity() const { return bytes_.capacity(); }
  // Gives back memory that is only needed for a long record, which the block then no longer holds.
  void Release();

 private:
  friend class DelimitedBytes;

  std::vector<char> bytes_;
  std::size_t usual_bytes_ = 0;  // Of memory, without a long record.
  const char* begin_ = nullptr;
  std::uint64_t records_before_ = 0;
  const char* at_ = nullptr;   // Where the next record begins.
  const char* end_ = nullptr;  // Of the bytes that there are.
  std::uint64_t offset_ = 0;   // Of the block's beginning in the input.
  std::uint64_t max_bytes_ = 0;
  std::uint64_t records_ = 0;  // Of the input, begun so far.
  const char* start_ = nullptr;
  const char* message_ = nullptr;
  std::uint32_t length_ = 0;
};

// Reads an input in blocks, in the memory of one block or of the longest record.
class DelimitedBytes {
 public:
  // Stays in the cache of a core between the kernel that writes it and us.
  static constexpr std::size_t kBlockBytes = std::size_t{256} << 10;

  // Throws Failure when the input cannot be opened. The options must outlive this.
  explicit DelimitedBytes(const InputOptions& options, std::size_t block_bytes = kBlockBytes);
  // Bytes that have been read from the input.
  DelimitedBytes(const InputOptions& options, std::string_view bytes);

  // Goes to the next record; returns false at the end of the input. Throws Failure when the input
  // cannot be read, or no record stands there.
  bool Next() { return block_.Next() || (Gather() && block_.Next()); }

  // The record at hand, and no others that could be asked for; valid until the next call.
  const DelimitedBlock& record() const { return block_; }
  std::uint64_t position() const { return block_.position(); }

  // Takes 1 to `most` records that are whole, to which Next then does not come any more, for
  // another thread to read; what else has been read of the input stays. Waits until there is one.
  // Returns false where Next has to tell what comes: the end, or an error.
  bool Take(std::uint64_t most, DelimitedBlock* records);

  // Waits until records can be taken, and returns how many are there already, at most `most`; 0
  // where Next has to tell what comes.
  std::uint64_t Wait(std::uint64_t most);

  // Lets Take and Wait be interrupted; returns false when that is not possible.
  bool PrepareInterrupt() { return input_.PrepareInterrupt(); }
  // Lets a call of them that waits for input return, and those that follow. Thread-safe.
  void Interrupt() { input_.Interrupt(); }

 private:
  DelimitedBlock Ahead(std::uint64_t most) const;
  bool Gather();
  bool Refill(std::size_t wanted);
  [[noreturn]] void Fail(std::uint64_t offset, const std::string& reason) const;

  const InputOptions& options_;
  InterruptibleInput input_;
  DelimitedBlock block_;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_DELIMITED_BYTES_H_
