// JSON objects one after the other: json and jsonl.

#include <cstddef>
#include <cstdint>
#include <string>

#include "formats/sink.h"
#include "formats/streams.h"
#include "io/failure.h"
#include "io/input_stream.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

class JsonSource : public MessageSource {
 public:
  JsonSource(const InputOptions& options, Util::JsonReadOptions read)
      : input_(options), reader_(input_.get(), WithLimits(options, read)) {}

  bool Next(Message* message) override {
    switch (reader_.Read(message)) {
      case Util::JsonReader::Status::kMessage:
        return true;
      case Util::JsonReader::Status::kEnd:
        input_.ExpectNoError();
        return false;
      case Util::JsonReader::Status::kError:
        break;
    }
    input_.ExpectNoError();
    const Util::JsonError& error = reader_.error();
    throw Failure(input_.name() + ":" + std::to_string(error.line) + ":" +
                  std::to_string(error.column) + ": " +
                  (error.path.empty() ? "" : "in " + error.path + ", ") + error.reason);
  }

  std::uint64_t position() const override { return input_.position(); }

 private:
  static Util::JsonReadOptions WithLimits(const InputOptions& options, Util::JsonReadOptions read) {
    read.max_bytes = options.max_bytes;
    read.max_depth = options.max_depth;
    return read;
  }

  InputStream input_;
  Util::JsonReader reader_;
};

class JsonSink : public Sink {
 public:
  JsonSink(const OutputOptions& options, const JsonOptions& json, bool lines)
      : Sink(options, OutputKind::kText),
        options_(json.write),
        lossy_(json.lossy),
        numbered_(json.numbered) {
    if (lines) options_.indent = 0;
  }

  bool prints_apart() const override { return true; }

  // Losses are told in the order of messages.
  bool Print(const Message& message, Buffer* text) const override {
    const std::size_t before = text->size();
    if (Util::WriteJson(message, options_, text)) {
      text->Truncate(before);
      return false;
    }
    text->Append("\n");
    return true;
  }

 protected:
  void PrintNext(const Message& message, std::uint64_t index, Buffer* text) override {
    if (Print(message, text)) return;
    const std::string record = numbered_ ? "record " + std::to_string(index) : "the message";
    Util::JsonWriteOptions options = options_;
    if (lossy_) {
      options.on_loss = [&record](const Util::JsonLoss& loss) {
        PrintError("warning: " + record + (loss.path.empty() ? "" : ", in " + loss.path) + ": " +
                   loss.reason);
      };
    }
    if (const auto error = Util::WriteJson(message, options, text)) {
      throw Failure(record + " cannot be written as JSON: " + Util::ToString(*error) +
                    (lossy_ ? ""
                            : "; --lossy leaves out what JSON cannot hold, the formats binary and "
                              "delimited keep it"));
    }
    text->Append("\n");
  }

 private:
  Util::JsonWriteOptions options_;
  bool lossy_;
  bool numbered_;
};

}  // namespace

std::unique_ptr<MessageSource> OpenJsonSource(const InputOptions& options,
                                              const JsonOptions& json) {
  return std::make_unique<JsonSource>(options, json.read);
}

std::unique_ptr<MessageSink> OpenJsonSink(const OutputOptions& options, const JsonOptions& json,
                                          bool lines) {
  return std::make_unique<JsonSink>(options, json, lines);
}

}  // namespace CmnSys::Tool
