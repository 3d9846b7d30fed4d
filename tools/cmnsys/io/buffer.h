// Bytes that are put together piece by piece.

#ifndef CMNSYS_TOOLS_IO_BUFFER_H_
#define CMNSYS_TOOLS_IO_BUFFER_H_

#include <google/protobuf/io/zero_copy_stream.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace CmnSys::Tool {

// Grows without filling what it grows by, and keeps its memory. A stream of protobuf's, too, which
// appends.
class Buffer : public google::protobuf::io::ZeroCopyOutputStream {
 public:
  std::string_view bytes() const { return {memory_.get(), size_}; }
  std::size_t size() const { return size_; }
  std::size_t capacity() const { return capacity_; }

  void Append(std::string_view bytes);
  // Takes away all but the first `size` bytes, which there must be.
  void Truncate(std::size_t size) { size_ = size; }
  // Becomes empty, and gives back the memory when that is more than `most` bytes.
  void Clear(std::size_t most);

  bool Next(void** data, int* size) override;
  void BackUp(int count) override { size_ -= static_cast<std::size_t>(count); }
  std::int64_t ByteCount() const override { return static_cast<std::int64_t>(size_); }

 private:
  struct Free {
    void operator()(char* memory) const { std::free(memory); }
  };

  // Makes room for so many more bytes.
  void Reserve(std::size_t more);

  std::unique_ptr<char, Free> memory_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_BUFFER_H_
