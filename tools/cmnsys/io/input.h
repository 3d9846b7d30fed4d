// Reading a command's input, and the limits that guard it.

#ifndef CMNSYS_TOOLS_IO_INPUT_H_
#define CMNSYS_TOOLS_IO_INPUT_H_

#include <cstdint>
#include <string>

namespace CmnSys::Tool {

struct InputOptions {
  std::string path = "-";  // "-" is standard input.
  std::uint64_t max_bytes = std::uint64_t{64} << 20;
  int max_depth = 100;  // Messages nested below the outermost one.

  // The input's name for messages: its path, or "standard input".
  std::string Name() const;
};

// Returns all bytes of the input. Throws Failure when it cannot be read or is longer than the
// limit.
std::string ReadInput(const InputOptions& options);

// Returns the beginning of the input, at most `most` bytes. Throws Failure when it cannot be read.
std::string ReadBeginning(const InputOptions& options, std::uint64_t most);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_INPUT_H_
