// Formats of one message: binary and hex.

#include <utility>

#include "formats/hex_dump.h"
#include "formats/parse.h"
#include "formats/sink.h"
#include "formats/streams.h"
#include "io/failure.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

// One message, in bytes that are in memory as a whole.
class SingleSource : public MessageSource {
 public:
  SingleSource(const InputOptions& options, std::string bytes)
      : options_(options), bytes_(std::move(bytes)) {}

  bool Next(Message* message) override {
    if (done_) return false;
    done_ = true;
    ParseBinary(bytes_, options_, message);
    return true;
  }

  std::uint64_t position() const override { return done_ ? bytes_.size() : 0; }

 private:
  const InputOptions& options_;
  std::string bytes_;
  bool done_ = false;
};

std::string WireBytes(const Message& message) {
  std::string bytes;
  if (!message.SerializeToString(&bytes)) {
    throw Failure("the message is longer than the 2147483647 bytes that protobuf allows");
  }
  return bytes;
}

class SingleSink : public Sink {
 public:
  SingleSink(const OutputOptions& options, bool hex)
      : Sink(options, hex ? OutputKind::kText : OutputKind::kBinary), hex_(hex) {}

  void Finish() override {
    if (count() == 0) throw Failure("there is no message to write");
    Sink::Finish();
  }

 protected:
  void Print(const Message& message, std::uint64_t index, std::string* text) override {
    if (index > 0) {
      throw Failure(
          "the input holds several messages, but this format only one; choose one that takes "
          "several with --to, for example delimited");
    }
    const std::string bytes = WireBytes(message);
    *text = hex_ ? FormatHexDump(bytes) : bytes;
  }

 private:
  bool hex_;
};

}  // namespace

std::unique_ptr<MessageSource> OpenSingleSource(const InputOptions& options, std::string bytes) {
  return std::make_unique<SingleSource>(options, std::move(bytes));
}

std::unique_ptr<MessageSink> OpenSingleSink(const OutputOptions& options, bool hex) {
  return std::make_unique<SingleSink>(options, hex);
}

}  // namespace CmnSys::Tool
