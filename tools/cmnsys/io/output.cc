#include "io/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "io/failure.h"
#include "io/progress.h"

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

}  // namespace

std::string OutputOptions::Name() const { return path == "-" ? "standard output" : path; }

Output::Output(const OutputOptions& options, OutputKind kind)
    : name_(options.Name()), path_(options.path) {
  if (path_ == "-") {
    descriptor_ = STDOUT_FILENO;
    terminal_ = ::isatty(STDOUT_FILENO) == 1;
    if (terminal_ && kind == OutputKind::kBinary) {
      throw Failure(
          "not writing binary data to a terminal; name a file with --output or pipe it on, for "
          "example into \"od -A d -t x1z\"");
    }
    return;
  }
  if (IsReplaceable(path_)) {
    temporary_ = path_ + ".XXXXXX";
    descriptor_ = ::mkstemp(temporary_.data());
    if (descriptor_ < 0) temporary_.clear();
  } else {
    descriptor_ = ::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
  }
  if (descriptor_ < 0) throw Failure("cannot write " + name_ + ": " + std::strerror(errno));
}

Output::~Output() {
  if (descriptor_ >= 0 && descriptor_ != STDOUT_FILENO) ::close(descriptor_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void Output::Write(std::string_view bytes) {
  constexpr std::size_t kBufferBytes = std::size_t{64} << 10;
  buffer_ += bytes;
  if (terminal_ || buffer_.size() >= kBufferBytes) Flush();
}

void Output::Flush() {
  if (terminal_ && !buffer_.empty()) Progress::Hide();
  if (!WriteAll(descriptor_, buffer_)) {
    throw Failure("cannot write " + name_ + ": " + std::strerror(errno));
  }
  buffer_.clear();
}

void Output::Finish() {
  Flush();
  if (descriptor_ == STDOUT_FILENO) return;
  int error = 0;
  if (!temporary_.empty() && ::fchmod(descriptor_, PermissionsFor(path_)) != 0) error = errno;
  if (::close(descriptor_) != 0 && error == 0) error = errno;
  descriptor_ = -1;
  if (error == 0 && !temporary_.empty()) {
    if (::rename(temporary_.c_str(), path_.c_str()) == 0) {
      temporary_.clear();
    } else {
      error = errno;
    }
  }
  if (error != 0) throw Failure("cannot write " + name_ + ": " + std::strerror(error));
}

void WriteOutput(const OutputOptions& options, std::string_view bytes, OutputKind kind) {
  Output output(options, kind);
  output.Write(bytes);
  output.Finish();
}

}  // namespace CmnSys::Tool
