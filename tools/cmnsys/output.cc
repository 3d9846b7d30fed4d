#include "output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "failure.h"

namespace CmnSys::Tool {
namespace {

// Writes all bytes; returns false with errno set when that fails.
bool WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// The result replaces a regular file or appears as a new one. Anything else, such as a device or a
// named pipe, is written in place.
bool IsReplaceable(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

// The permissions of the file that is replaced, else those that the umask gives a new file.
mode_t PermissionsFor(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) == 0) return status.st_mode & 07777;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

void WriteFile(const std::string& path, std::string_view bytes) {
  const auto fail = [&path](int error) -> Failure {
    return Failure("cannot write " + path + ": " + std::strerror(error));
  };
  std::string temporary = path + ".XXXXXX";
  const int descriptor = ::mkstemp(temporary.data());
  if (descriptor < 0) throw fail(errno);
  int error = 0;
  if (!WriteAll(descriptor, bytes) || ::fchmod(descriptor, PermissionsFor(path)) != 0) {
    error = errno;
  }
  if (::close(descriptor) != 0 && error == 0) error = errno;
  if (error == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(temporary.c_str());
    throw fail(error);
  }
}

void WriteInPlace(int descriptor, const std::string& name, std::string_view bytes) {
  if (!WriteAll(descriptor, bytes)) {
    throw Failure("cannot write " + name + ": " + std::strerror(errno));
  }
}

}  // namespace

void OutputOptions::AddTo(CLI::App* command) {
  command->add_option("-o,--output", path, "File to write; - is standard output")
      ->type_name("FILE")
      ->capture_default_str();
}

void WriteOutput(const OutputOptions& options, std::string_view bytes, OutputKind kind) {
  if (options.path == "-") {
    if (kind == OutputKind::kBinary && ::isatty(STDOUT_FILENO) == 1) {
      throw Failure(
          "not writing binary data to a terminal; name a file with --output or pipe it on, for "
          "example into \"od -A d -t x1z\"");
    }
    WriteInPlace(STDOUT_FILENO, "standard output", bytes);
    return;
  }
  if (IsReplaceable(options.path)) {
    WriteFile(options.path, bytes);
    return;
  }
  const int descriptor = ::open(options.path.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor < 0) {
    throw Failure("cannot write " + options.path + ": " + std::strerror(errno));
  }
  try {
    WriteInPlace(descriptor, options.path, bytes);
  } catch (const Failure&) {
    ::close(descriptor);
    throw;
  }
  ::close(descriptor);
}

}  // namespace CmnSys::Tool
