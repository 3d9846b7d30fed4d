// A command's input in blocks, which can be taken away and read elsewhere. Also a stream of
// protobuf's.

#ifndef CMNSYS_TOOLS_IO_BLOCK_INPUT_H_
#define CMNSYS_TOOLS_IO_BLOCK_INPUT_H_

#include <google/protobuf/io/zero_copy_stream.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string_view>
#include <vector>

#include "io/input.h"
#include "io/interruptible_input.h"

namespace CmnSys::Tool {

// Bytes taken from an input, in memory of their own.
struct InputBlock {
  std::vector<char> memory;
  std::string_view bytes;  // In the memory.

  // Gives back memory that only a long record needs, and then has no bytes.
  void Release();
};

class BlockInput : public google::protobuf::io::ZeroCopyInputStream {
 public:
  // Throws Failure when the input cannot be opened.
  explicit BlockInput(const InputOptions& options) : input_(options) {}

  // What has been read and not been taken. Valid until anything else is called.
  std::string_view ahead() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }

  // Reads further bytes behind those, and waits until there are some. Returns false at the end of
  // the input, when interrupted, and when reading fails.
  bool More();

  // Moves the first `size` bytes of those to the block, whose memory is used again.
  void Take(std::size_t size, InputBlock* block);

  // Throws Failure when reading has failed.
  void ExpectNoError() const;

  bool Next(const void** data, int* size) override;
  void BackUp(int count) override { at_ -= count; }
  bool Skip(int count) override;
  std::int64_t ByteCount() const override { return offset_ + (at_ - memory_.data()); }

  // As those of InterruptibleInput, for More and Next.
  bool PrepareInterrupt() { return input_.PrepareInterrupt(); }
  void Interrupt() const { input_.Interrupt(); }

 private:
  InterruptibleInput input_;
  std::exception_ptr error_;
  std::vector<char> memory_;
  const char* at_ = nullptr;
  const char* end_ = nullptr;  // Of the bytes that there are.
  std::int64_t offset_ = 0;    // Of the memory's beginning in the input.
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_BLOCK_INPUT_H_
