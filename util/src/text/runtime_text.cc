#include "text/runtime_text.h"

#include <google/protobuf/stubs/common.h>
#include <google/protobuf/stubs/strutil.h>

#include <limits>

#if GOOGLE_PROTOBUF_VERSION / 1000 != 3021
#error "This file uses internals of protobuf 3.21; adapt util/src/text/runtime_text.cc."
#endif

namespace CmnSys::Util {

std::size_t FirstInvalidUtf8(std::string_view text, std::size_t start) {
  // The runtime counts in int. A block that ends inside a character is taken up again there.
  constexpr std::size_t kBlock = std::numeric_limits<int>::max();
  while (start < text.size()) {
    const std::string_view block = text.substr(start, kBlock);
    const int valid = google::protobuf::internal::UTF8SpnStructurallyValid(
        google::protobuf::StringPiece(block.data(), block.size()));
    if (valid == 0) return start;
    start += static_cast<std::size_t>(valid);
  }
  return text.size();
}

std::string WithReplacedInvalidUtf8(std::string_view text) {
  std::string result;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t invalid = FirstInvalidUtf8(text, position);
    result += text.substr(position, invalid - position);
    if (invalid == text.size()) break;
    result += "\xef\xbf\xbd";
    position = invalid + 1;
  }
  return result;
}

std::string CEscaped(std::string_view text) { return google::protobuf::CEscape(std::string(text)); }

}  // namespace CmnSys::Util
