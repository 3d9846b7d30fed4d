#ifndef CMNSYS_UTIL_SRC_JSON_PADDED_TEXT_H_
#define CMNSYS_UTIL_SRC_JSON_PADDED_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace CmnSys::Util {

// Text that is written again and again. When it is short it stands in one cache line with bytes to
// spare behind it: a copy of fixed length takes a few instructions and no call.
class PaddedText {
 public:
  static constexpr std::size_t kShort = 47;

  PaddedText() = default;
  explicit PaddedText(std::string_view text) : size_(static_cast<std::uint32_t>(text.size())) {
    if (size_ > kShort) long_.reset(new char[size_]);
    std::memcpy(size_ > kShort ? long_.get() : short_, text.data(), size_);
  }

  // Whether kShort bytes may be read from any of the first two bytes on.
  bool is_short() const { return size_ <= kShort; }
  std::size_t size() const { return size_; }
  const char* data() const { return is_short() ? short_ : long_.get(); }
  std::string_view view() const { return {data(), size_}; }

 private:
  char short_[kShort + 1] = {};
  std::uint32_t size_ = 0;
  std::unique_ptr<char[]> long_;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_PADDED_TEXT_H_
