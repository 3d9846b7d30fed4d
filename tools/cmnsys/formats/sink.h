// What the sinks of all formats share.

#ifndef CMNSYS_TOOLS_FORMATS_SINK_H_
#define CMNSYS_TOOLS_FORMATS_SINK_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "formats/message_stream.h"
#include "io/buffer.h"
#include "io/output.h"

namespace CmnSys::Tool {

// A message that cannot be written leaves nothing of itself.
class Sink : public MessageSink {
 public:
  Sink(const OutputOptions& options, OutputKind kind) : output_(options, kind) {}

  void Write(const google::protobuf::Message& message) override {
    Buffer* const text = output_.buffer();
    const std::size_t before = text->size();
    try {
      PrintNext(message, count_, text);
    } catch (...) {
      text->Truncate(before);
      throw;
    }
    output_.Write({});
    ++count_;
  }

  void WritePrinted(std::string_view text, const std::vector<std::size_t>& ends) override {
    output_.WritePieces(text, ends);
    count_ += ends.size();
  }

  void Finish() override { output_.Finish(); }

 protected:
  // Appends the text of the message that stands at the index.
  virtual void PrintNext(const google::protobuf::Message& message, std::uint64_t index,
                         Buffer* text) = 0;
  std::uint64_t count() const { return count_; }
  Output& output() { return output_; }

 private:
  Output output_;
  std::uint64_t count_ = 0;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_SINK_H_
