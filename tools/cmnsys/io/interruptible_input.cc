#include "io/interruptible_input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "io/failure.h"

namespace CmnSys::Tool {
namespace {

// What is written behind the end of a file that is being read would be read as well, without end.
void ExpectNotOutput(int descriptor, const std::string& name) {
  struct stat input = {};
  struct stat output = {};
  if (::fstat(descriptor, &input) != 0 || ::fstat(STDOUT_FILENO, &output) != 0) return;
  const bool same = input.st_dev == output.st_dev && input.st_ino == output.st_ino;
  if (same && S_ISREG(input.st_mode) && ::lseek(descriptor, 0, SEEK_CUR) < input.st_size) {
    throw Failure(name + " is standard output as well; write to another file");
  }
}

}  // namespace

InterruptibleInput::InterruptibleInput(const InputOptions& options)
    : name_(options.Name()), ended_(false) {
  descriptor_ =
      options.path == "-" ? STDIN_FILENO : ::open(options.path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor_ < 0) throw Failure("cannot read " + name_ + ": " + std::strerror(errno));
  ExpectNotOutput(descriptor_, name_);
}

InterruptibleInput::~InterruptibleInput() {
  if (descriptor_ > STDIN_FILENO) ::close(descriptor_);
  if (interrupt_ >= 0) ::close(interrupt_);
}

std::size_t InterruptibleInput::Read(char* bytes, std::size_t most) {
  bool wait = interrupt_ >= 0;
  while (!ended_ && (!wait || WaitForInput())) {
    const ssize_t count = ::read(descriptor_, bytes, most);
    if (count > 0) return static_cast<std::size_t>(count);
    if (count == 0) {
      ended_ = true;
    } else if (errno == EAGAIN) {
      wait = true;  // Another process that has the descriptor set it not to wait.
    } else if (errno != EINTR) {
      throw Failure("cannot read " + name_ + ": " + std::strerror(errno));
    }
  }
  return 0;
}

bool InterruptibleInput::PrepareInterrupt() {
  struct stat status = {};
  if (ended_ || interrupt_ >= 0) return true;
  if (::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)) return true;
  interrupt_ = ::eventfd(0, EFD_CLOEXEC);
  return interrupt_ >= 0;
}

void InterruptibleInput::Interrupt() const {
  const std::uint64_t one = 1;
  if (interrupt_ >= 0 && ::write(interrupt_, &one, sizeof one) < 0) {
    // It is set already.
  }
}

// Returns false when interrupted.
bool InterruptibleInput::WaitForInput() const {
  pollfd waited[] = {{interrupt_, POLLIN, 0}, {descriptor_, POLLIN, 0}};
  while (::poll(waited, 2, -1) < 0) {
    if (errno != EINTR) return true;
  }
  return waited[0].revents == 0;
}

}  // namespace CmnSys::Tool
