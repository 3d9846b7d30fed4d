#include "io/input.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "io/failure.h"

namespace CmnSys::Tool {

std::string InputOptions::Name() const { return path == "-" ? "standard input" : path; }

namespace {

// Reads until the end or until there are more than `most` bytes.
std::string ReadMoreThan(const InputOptions& options, std::uint64_t most) {
  struct Closer {
    void operator()(std::FILE* file) const {
      if (file != stdin) std::fclose(file);
    }
  };
  const std::unique_ptr<std::FILE, Closer> file(
      options.path == "-" ? stdin : std::fopen(options.path.c_str(), "rb"));
  const auto fail = [&options]() -> Failure {
    return Failure("cannot read " + options.Name() + ": " + std::strerror(errno));
  };
  if (file == nullptr) throw fail();

  std::string bytes;
  char buffer[1 << 16];
  while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, file.get())) {
    bytes.append(buffer, count);
    if (bytes.size() > most) return bytes;
  }
  if (std::ferror(file.get()) != 0) throw fail();
  return bytes;
}

}  // namespace

std::string ReadInput(const InputOptions& options, std::uint64_t most) {
  if (most == 0) most = options.max_bytes;
  std::string bytes = ReadMoreThan(options, most);
  if (bytes.size() > most) {
    throw Failure(options.Name() + " is longer than " + std::to_string(most) +
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
