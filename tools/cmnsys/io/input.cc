#include "io/input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "io/failure.h"

namespace CmnSys::Tool {

std::string InputOptions::Name() const { return path == "-" ? "standard input" : path; }

std::string ReadInput(const InputOptions& options) {
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
    if (bytes.size() > options.max_bytes) {
      throw Failure(options.Name() + " is longer than " + std::to_string(options.max_bytes) +
                    " bytes; raise the limit with --max-bytes if that is right");
    }
  }
  if (std::ferror(file.get()) != 0) throw fail();
  return bytes;
}

}  // namespace CmnSys::Tool
