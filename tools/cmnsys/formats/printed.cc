#include "formats/printed.h"

namespace CmnSys::Tool {

bool Printed::Add(const MessageSink& sink, const google::protobuf::Message& message) {
  const std::size_t before = text_.size();
  try {
    if (!sink.Print(message, &text_)) return false;
    ends_.push_back(text_.size());
    return true;
  } catch (...) {
    text_.Truncate(before);
    throw;
  }
}

void Printed::Add(std::string_view bytes) {
  ends_.push_back(text_.size() + bytes.size());
  text_.Append(bytes);
}

void Printed::Clear() {
  constexpr std::size_t kMostKept = std::size_t{2} << 20;
  text_.Clear(kMostKept);
  ends_.clear();
}

}  // namespace CmnSys::Tool
