#include "io/output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "io/failure.h"
#include "io/progress.h"
#include "io/temporary_name.h"

namespace CmnSys::Tool {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{64} << 10;
// Memory that the buffer keeps.
constexpr std::size_t kMostKept = std::size_t{1} << 20;

// Writes all bytes; returns false with errno set when that fails.
bool WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0) {
      if (errno == EAGAIN) {  // Another process that has the descriptor set it not to wait.
        pollfd waited = {descriptor, POLLOUT, 0};
        ::poll(&waited, 1, -1);
      } else if (errno != EINTR) {
        return false;
      }
      continue;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

// The number in "/dev/fd/3" and "/proc/self/fd/3".
std::optional<int> DescriptorIn(const std::string& path) {
  const std::string own = "/proc/" + std::to_string(::getpid()) + "/fd/";
  for (const std::string& folder : {std::string("/dev/fd/"), std::string("/proc/self/fd/"), own}) {
    if (path.compare(0, folder.size(), folder) != 0) continue;
    const std::string number = path.substr(folder.size());
    if (number.empty() || number.size() > 9 ||
        number.find_first_not_of("0123456789") != std::string::npos) {
      continue;
    }
    return std::stoi(number);
  }
  return std::nullopt;
}

// Follows links at the end of the path, up to a descriptor of this process, as /dev/stdout is one.
// Links that lead nowhere are followed as well: the file is made where they lead.
std::string WithoutLinks(std::string path) {
  constexpr int kMostLinks = 40;
  for (int i = 0; i < kMostLinks && !DescriptorIn(path); ++i) {
    char target[PATH_MAX];
    const ssize_t size = ::readlink(path.c_str(), target, sizeof target);
    if (size <= 0 || size == sizeof target) return path;
    const std::string link(target, static_cast<std::size_t>(size));
    path = link.front() == '/' ? link : FolderOf(path) + "/" + link;
  }
  return path;
}

// A file gets the owner, the group and the permissions of the one that it replaces, as far as the
// user may give them, and else the permissions that the umask gives a new file. The bits that let
// programs run as their owner or group are left out: the owner may be another.
int TakeAttributes(int descriptor, const std::string& path) {
  struct stat status = {};
  mode_t mode = 0;
  if (::stat(path.c_str(), &status) == 0) {
    mode = status.st_mode & 0777;
    constexpr auto kSameOwner = static_cast<uid_t>(-1);
    if (::fchown(descriptor, status.st_uid, status.st_gid) != 0 &&
        ::fchown(descriptor, kSameOwner, status.st_gid) != 0) {
      // Another group may do what everybody may.
      mode = (mode & ~S_IRWXG) | (mode & S_IRWXO) << 3;
    }
  } else {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    mode = 0666 & ~mask;
  }
  return ::fchmod(descriptor, mode) == 0 ? 0 : errno;
}

// The temporary name that is in use.
std::string temporary;

}  // namespace

std::string OutputOptions::Name() const { return path == "-" ? "standard output" : path; }

Output::Output(const OutputOptions& options, OutputKind kind)
    : name_(options.Name()), live_(options.live) {
  const std::string path = options.path == "-" ? "/dev/fd/1" : WithoutLinks(options.path);
  const std::optional<int> given = DescriptorIn(path);
  struct stat status = {};
  if (path.empty()) Fail(ENOENT);
  if (given) {
    descriptor_ = *given;
    own_descriptor_ = false;
    if (::fstat(descriptor_, &status) != 0) Fail(errno);
  } else if (::stat(path.c_str(), &status) != 0 && errno != ENOENT) {
    Fail(errno);
  } else if (status.st_nlink != 0 && !S_ISREG(status.st_mode)) {
    descriptor_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) Fail(errno);
  } else {
    if (status.st_nlink != 0 && ::access(path.c_str(), W_OK) != 0) Fail(errno);
    path_ = path;
    replaces_ = status.st_nlink != 0;
    OpenBeside();
  }
  terminal_ = ::isatty(descriptor_) == 1;
  if (terminal_ && kind == OutputKind::kBinary) {
    throw Failure(
        "not writing binary data to a terminal; name a file with --output or pipe it on, for "
        "example into \"od -A d -t x1z\"");
  }
}

Output::~Output() {
  if (descriptor_ >= 0 && own_descriptor_) ::close(descriptor_);
  if (named_) {
    ::unlink(temporary.c_str());
    KeepWhenEnded();
  }
}

// Opens a file in the folder of the path, without a name where that is possible.
void Output::OpenBeside() {
  const std::string folder = FolderOf(path_);
  // Through /proc the file gets its name later.
  const bool nameable = ::access("/proc/self/fd", X_OK) == 0;
  errno = EOPNOTSUPP;
  if (nameable) descriptor_ = ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  if (descriptor_ < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
    temporary = NewTemporaryName(folder);
    RemoveWhenEnded(temporary);
    descriptor_ = ::open(temporary.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    named_ = descriptor_ >= 0;
  }
  if (descriptor_ < 0) Fail(errno);
}

// Gives a complete file without name the temporary one, from which it can be renamed.
void Output::TakeName() {
  temporary = NewTemporaryName(FolderOf(path_));
  RemoveWhenEnded(temporary);
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor_);
  if (::linkat(AT_FDCWD, link.c_str(), AT_FDCWD, temporary.c_str(), AT_SYMLINK_FOLLOW) != 0) {
    Fail(errno);
  }
  named_ = true;
}

void Output::Fail(int error) const {
  const bool place = error == EACCES || error == EPERM || error == EBUSY;
  throw Failure("cannot write " + name_ + ": " + std::strerror(error) +
                (replaces_ && place ? "; it cannot be replaced there, but \"> FILE\" instead of "
                                      "--output writes into it"
                                    : ""));
}

void Output::Write(std::string_view bytes) {
  // Much is written from where it is.
  if (bytes.size() >= kBufferBytes) {
    Flush();
    WriteInPlace(bytes);
    return;
  }
  buffer_.Append(bytes);
  if (terminal_ || live_ || buffer_.size() >= kBufferBytes) Flush();
}

void Output::WritePieces(std::string_view bytes, const std::vector<std::size_t>& ends) {
  if (terminal_ || live_) return Write(bytes);
  // Up to where the last flush would write.
  std::size_t flushed = 0;
  std::size_t before = buffer_.size();
  for (const std::size_t end : ends) {
    if (before + end - flushed < kBufferBytes) continue;
    flushed = end;
    before = 0;
  }
  if (flushed > 0) {
    Flush();
    WriteInPlace(bytes.substr(0, flushed));
  }
  buffer_.Append(bytes.substr(flushed));
}

void Output::Flush() {
  WriteInPlace(buffer_.bytes());
  buffer_.Clear(kMostKept);
}

void Output::WriteInPlace(std::string_view bytes) {
  if (terminal_ && !bytes.empty()) Progress::Hide();
  if (!WriteAll(descriptor_, bytes)) Fail(errno);
}

void Output::Finish() {
  Flush();
  if (!path_.empty()) {
    if (const int error = TakeAttributes(descriptor_, path_)) Fail(error);
    if (!named_) TakeName();
  }
  if (own_descriptor_ && ::close(std::exchange(descriptor_, -1)) != 0) Fail(errno);
  if (path_.empty()) return;
  if (::rename(temporary.c_str(), path_.c_str()) != 0) Fail(errno);
  named_ = false;
  KeepWhenEnded();
}

void WriteOutput(const OutputOptions& options, std::string_view bytes, OutputKind kind) {
  Output output(options, kind);
  output.Write(bytes);
  output.Finish();
}

}  // namespace CmnSys::Tool
