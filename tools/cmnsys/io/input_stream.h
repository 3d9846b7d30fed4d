// A command's input as a stream of protobuf's.

#ifndef CMNSYS_TOOLS_IO_INPUT_STREAM_H_
#define CMNSYS_TOOLS_IO_INPUT_STREAM_H_

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <cstdint>
#include <memory>
#include <string>

#include "io/input.h"

namespace CmnSys::Tool {

class InputStream {
 public:
  // Throws Failure when the input cannot be opened.
  explicit InputStream(const InputOptions& options);
  ~InputStream();
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;

  google::protobuf::io::ZeroCopyInputStream* get() { return stream_.get(); }
  const std::string& name() const { return name_; }
  std::uint64_t position() const { return static_cast<std::uint64_t>(stream_->ByteCount()); }

  // Throws Failure when the stream has stopped for another reason than its end.
  void ExpectNoError() const;

 private:
  std::string name_;
  int descriptor_ = -1;
  std::unique_ptr<google::protobuf::io::FileInputStream> stream_;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_INPUT_STREAM_H_
