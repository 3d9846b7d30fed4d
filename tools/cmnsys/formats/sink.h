// What the sinks of all formats share.

#ifndef CMNSYS_TOOLS_FORMATS_SINK_H_
#define CMNSYS_TOOLS_FORMATS_SINK_H_

#include <cstdint>
#include <string>

#include "formats/message_stream.h"
#include "io/output.h"

namespace CmnSys::Tool {

// Collects the text of each message before it writes it, so that a message that cannot be written
// leaves nothing of itself.
class Sink : public MessageSink {
 public:
  Sink(const OutputOptions& options, OutputKind kind) : output_(options, kind) {}

  void Write(const google::protobuf::Message& message) override {
    text_.clear();
    Print(message, count_, &text_);
    output_.Write(text_);
    ++count_;
  }

  void Finish() override { output_.Finish(); }

 protected:
  virtual void Print(const google::protobuf::Message& message, std::uint64_t index,
                     std::string* text) = 0;
  std::uint64_t count() const { return count_; }
  Output& output() { return output_; }

 private:
  Output output_;
  std::uint64_t count_ = 0;
  std::string text_;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_SINK_H_
