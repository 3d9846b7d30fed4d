// An input of which whole records can be taken before anybody reads them.

#ifndef CMNSYS_TOOLS_FORMATS_RECORD_INPUT_H_
#define CMNSYS_TOOLS_FORMATS_RECORD_INPUT_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "io/block_input.h"
#include "io/input.h"

namespace CmnSys::Tool {

// Finds the ends of records in a text that grows.
class RecordEnds {
 public:
  enum class Found {
    kRecord,   // A record, see begin() and end().
    kNone,     // The text ends before the next record does.
    kUnknown,  // What stands there has to be read to tell.
  };

  virtual ~RecordEnds() = default;

  // Looks for the next record in `text`, which begins as in earlier calls.
  virtual Found Next(std::string_view text) = 0;
  // From now on the text begins with what stood behind its first `size` bytes, which end with a
  // record.
  virtual void Drop(std::size_t size) = 0;
  // Begins anew.
  virtual void Reset() = 0;

  // Where the record begins that is looked for or was found last, and where it ends.
  virtual std::size_t begin() const = 0;
  virtual std::size_t end() const = 0;
};

class RecordInput {
 public:
  // Throws Failure when the input cannot be opened.
  RecordInput(const InputOptions& options, std::unique_ptr<RecordEnds> ends);

  // What has not been taken; records found ahead are forgotten.
  BlockInput* stream();

  // Moves 1 to `most` whole records, none longer than the limit of the options, to the block. Waits
  // until there is one. Returns false where only reading tells what comes. Does not throw.
  bool Take(std::uint64_t most, InputBlock* block);

  // Waits until records can be taken, and returns how many there are already, at most `most`; 0
  // where only reading tells what comes. Does not throw.
  std::uint64_t Wait(std::uint64_t most);

  const BlockInput& input() const { return input_; }
  // Bytes of the input that have been taken, or read by the stream.
  std::uint64_t position() const { return static_cast<std::uint64_t>(input_.ByteCount()); }
  bool PrepareInterrupt() { return input_.PrepareInterrupt(); }
  void Interrupt() const { input_.Interrupt(); }

 private:
  BlockInput input_;
  std::unique_ptr<RecordEnds> ends_;
  std::uint64_t max_bytes_;
  std::vector<std::size_t> found_;  // Where the records end that are ahead.
  bool unknown_ = false;            // What stands behind them.
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_RECORD_INPUT_H_
