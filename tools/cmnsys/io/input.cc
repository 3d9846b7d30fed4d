#include "io/input.h"

#include <algorithm>

#include "io/failure.h"
#include "io/interruptible_input.h"

namespace CmnSys::Tool {

std::string InputOptions::Name() const { return path == "-" ? "standard input" : path; }

namespace {

// Reads until the end or until there are more than `most` bytes.
std::string ReadMoreThan(const InputOptions& options, std::uint64_t most) {
  InterruptibleInput input(options);
  std::string bytes;
  char buffer[1 << 16];
  while (const std::size_t count = input.Read(buffer, sizeof buffer)) {
    bytes.append(buffer, count);
    if (bytes.size() > most) break;
  }
  return bytes;
}

}  // namespace

std::string ReadInput(const InputOptions& options) {
  std::string bytes = ReadMoreThan(options, options.max_bytes);
  if (bytes.size() > options.max_bytes) {
    throw Failure(options.Name() + " is longer than " + std::to_string(options.max_bytes) +
                  " bytes; raise the limit with --max-bytes if that is right");
  }
  return bytes;
}

std::string ReadBeginning(const InputOptions& options, std::uint64_t most) {
  std::string bytes = ReadMoreThan(options, most);
  bytes.resize(std::min<std::uint64_t>(bytes.size(), most));
  return bytes;
}

}  // namespace CmnSys::Tool
