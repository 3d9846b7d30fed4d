// A command's input, from which a thread reads that another may wake.

#ifndef CMNSYS_TOOLS_IO_INTERRUPTIBLE_INPUT_H_
#define CMNSYS_TOOLS_IO_INTERRUPTIBLE_INPUT_H_

#include <cstddef>
#include <string>

#include "io/input.h"

namespace CmnSys::Tool {

class InterruptibleInput {
 public:
  // An input that is at its end.
  InterruptibleInput() = default;
  // Throws Failure when the input cannot be opened.
  explicit InterruptibleInput(const InputOptions& options);
  ~InterruptibleInput();
  InterruptibleInput(const InterruptibleInput&) = delete;
  InterruptibleInput& operator=(const InterruptibleInput&) = delete;

  // Reads what there is, at least one byte, at most `most`, and waits until there is some. Returns
  // 0 at the end of the input, also later, and when interrupted. Throws Failure.
  std::size_t Read(char* bytes, std::size_t most);

  // From now on Read can be interrupted. Returns false when the system does not allow that.
  bool PrepareInterrupt();
  // Ends a call of Read that waits, and those that follow. Thread-safe.
  void Interrupt() const;

 private:
  bool WaitForInput() const;

  std::string name_;
  int descriptor_ = -1;
  int interrupt_ = -1;  // An eventfd; none where reading does not wait.
  bool ended_ = true;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_INTERRUPTIBLE_INPUT_H_
