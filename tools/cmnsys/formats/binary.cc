// Messages as their wire bytes and nothing else: binary, which holds one, and hex.

#include <utility>

#include "formats/hex_dump.h"
#include "formats/parse.h"
#include "formats/sink.h"
#include "formats/streams.h"
#include "io/failure.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

class WholeSource : public MessageSource {
 public:
  WholeSource(const InputOptions& options, std::vector<std::string> messages)
      : options_(options), messages_(std::move(messages)) {}

  bool Next(Message* message) override {
    if (next_ == messages_.size()) return false;
    const std::string& bytes = messages_[next_++];
    ParseBinary(bytes, options_, message);
    position_ += bytes.size();
    return true;
  }

  bool is_stream() const override { return messages_.size() > 1; }
  std::uint64_t position() const override { return position_; }

 private:
  const InputOptions& options_;
  std::vector<std::string> messages_;
  std::size_t next_ = 0;
  std::uint64_t position_ = 0;
};

std::string WireBytes(const Message& message) {
  std::string bytes;
  if (!message.SerializeToString(&bytes)) {
    throw Failure("the message is longer than the 2147483647 bytes that protobuf allows");
  }
  return bytes;
}

// An output without a byte would be read as a message without fields.
class WireSink : public Sink {
 public:
  using Sink::Sink;

  void Finish() override {
    if (count() == 0) throw Failure("there is no message to write");
    Sink::Finish();
  }
};

class BinarySink : public WireSink {
 public:
  explicit BinarySink(const OutputOptions& options) : WireSink(options, OutputKind::kBinary) {}

 protected:
  void PrintNext(const Message& message, std::uint64_t index, Buffer* text) override {
    if (index > 0) {
      throw Failure(
          "the input holds several messages, but this format only one; choose one that takes "
          "several with --to, for example delimited");
    }
    text->Append(WireBytes(message));
  }
};

class HexSink : public WireSink {
 public:
  explicit HexSink(const OutputOptions& options) : WireSink(options, OutputKind::kText) {}

  bool prints_apart() const override { return true; }
  bool Print(const Message& message, Buffer* text) const override {
    text->Append(FormatHexDump(WireBytes(message)));
    return true;
  }

 protected:
  void PrintNext(const Message& message, std::uint64_t /*index*/, Buffer* text) override {
    Print(message, text);
  }
};

}  // namespace

std::unique_ptr<MessageSource> OpenWholeSource(const InputOptions& options,
                                               std::vector<std::string> messages) {
  return std::make_unique<WholeSource>(options, std::move(messages));
}

std::unique_ptr<MessageSink> OpenBinarySink(const OutputOptions& options) {
  return std::make_unique<BinarySink>(options);
}

std::unique_ptr<MessageSink> OpenHexSink(const OutputOptions& options) {
  return std::make_unique<HexSink>(options);
}

}  // namespace CmnSys::Tool
