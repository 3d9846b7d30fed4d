#include "io/input_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "io/failure.h"

namespace CmnSys::Tool {

InputStream::InputStream(const InputOptions& options) : name_(options.Name()) {
  descriptor_ =
      options.path == "-" ? STDIN_FILENO : ::open(options.path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor_ < 0) throw Failure("cannot read " + name_ + ": " + std::strerror(errno));
  stream_ = std::make_unique<google::protobuf::io::FileInputStream>(descriptor_, 1 << 16);
}

InputStream::~InputStream() {
  if (descriptor_ != STDIN_FILENO) ::close(descriptor_);
}

void InputStream::ExpectNoError() const {
  if (stream_->GetErrno() != 0) {
    throw Failure("cannot read " + name_ + ": " + std::strerror(stream_->GetErrno()));
  }
}

}  // namespace CmnSys::Tool
