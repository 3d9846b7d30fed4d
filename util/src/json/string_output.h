#ifndef CMNSYS_UTIL_SRC_JSON_STRING_OUTPUT_H_
#define CMNSYS_UTIL_SRC_JSON_STRING_OUTPUT_H_

#include <google/protobuf/io/zero_copy_stream.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace CmnSys::Util {

// Appends to a string by way of a block, since a string that grows fills what it grows by.
class StringOutput : public google::protobuf::io::ZeroCopyOutputStream {
 public:
  explicit StringOutput(std::string* text) : text_(text) {}

  bool Next(void** data, int* size) override {
    Append();
    *data = block_;
    used_ = *size = static_cast<int>(sizeof block_);
    return true;
  }
  void BackUp(int count) override { used_ -= count; }
  std::int64_t ByteCount() const override {
    return static_cast<std::int64_t>(text_->size()) + used_;
  }

  // What is still in the block.
  void Append() {
    text_->append(block_, static_cast<std::size_t>(used_));
    used_ = 0;
  }

 private:
  std::string* text_;
  int used_ = 0;
  char block_[8192];
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_STRING_OUTPUT_H_
