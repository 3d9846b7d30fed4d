// JSON objects one after the other: json and jsonl.

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "formats/json_ends.h"
#include "formats/record_input.h"
#include "formats/sink.h"
#include "formats/streams.h"
#include "io/block_input.h"
#include "io/failure.h"
#include "io/lines.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

// Of each message: one may hold millions of unknown fields.
constexpr std::size_t kMostLossesTold = 100;

// Returns false when the text ends. The input is that of the reader.
bool ReadNext(const std::string& name, const BlockInput* input, Util::JsonReader* reader,
              Message* message) {
  const Util::JsonReader::Status status = reader->Read(message);
  if (status == Util::JsonReader::Status::kMessage) return true;
  if (input != nullptr) input->ExpectNoError();
  if (status == Util::JsonReader::Status::kEnd) return false;
  const Util::JsonError& error = reader->error();
  throw Failure(name + ":" + std::to_string(error.line) + ":" + std::to_string(error.column) +
                ": " + (error.path.empty() ? "" : "in " + error.path + ", ") + error.reason);
}

class JsonBlock : public MessageBlock {
 public:
  JsonBlock(std::string name, const Util::JsonReadOptions& read)
      : name_(std::move(name)), read_(read) {}

  InputBlock* block() { return &block_; }
  // To be called when the block has been filled.
  void Begin(const Util::JsonPlace& start) {
    start_ = start;
    GoTo(start);
  }

  bool Next(Message* message) override {
    before_ = reader_->place();
    return ReadNext(name_, nullptr, &*reader_, message);
  }
  void Back() override { GoTo(before_); }
  std::uint64_t position() const override { return reader_->place().offset; }
  std::size_t bytes() const override { return block_.memory.capacity(); }
  void Release() override {
    reader_.reset();
    input_.reset();
    block_.Release();
  }

 private:
  void GoTo(const Util::JsonPlace& place) {
    const std::string_view text = block_.bytes.substr(place.offset - start_.offset);
    reader_.reset();
    input_.emplace(text.data(), static_cast<int>(text.size()));
    reader_.emplace(&*input_, read_, place);
  }

  std::string name_;
  const Util::JsonReadOptions& read_;
  InputBlock block_;
  Util::JsonPlace start_;
  Util::JsonPlace before_;  // Where the message at hand begins.
  std::optional<google::protobuf::io::ArrayInputStream> input_;
  std::optional<Util::JsonReader> reader_;
};

class JsonSource : public MessageSource {
 public:
  JsonSource(const InputOptions& options, Util::JsonReadOptions read)
      : options_(options),
        read_(WithLimits(options, read)),
        input_(options, std::make_unique<JsonEnds>()) {}

  bool Next(Message* message) override {
    if (!reader_) reader_.emplace(input_.stream(), read_, place_);
    return ReadNext(options_.Name(), &input_.input(), &*reader_, message);
  }

  std::uint64_t position() const override {
    return reader_ ? reader_->place().offset : place_.offset;
  }

  std::unique_ptr<MessageBlock> NewBlock() override {
    if (!input_.PrepareInterrupt()) return nullptr;
    return std::make_unique<JsonBlock>(options_.Name(), read_);
  }
  std::uint64_t Wait(std::uint64_t most) override {
    StopReading();
    return input_.Wait(most);
  }
  bool Take(std::uint64_t most, MessageBlock* block) override {
    StopReading();
    auto* const taken = static_cast<JsonBlock*>(block);
    if (!input_.Take(most, taken->block())) return false;
    taken->Begin(place_);
    Pass(taken->block()->bytes);
    return true;
  }
  void Interrupt() override { input_.Interrupt(); }

 private:
  static Util::JsonReadOptions WithLimits(const InputOptions& options, Util::JsonReadOptions read) {
    read.max_bytes = options.max_bytes;
    read.max_depth = options.max_depth;
    return read;
  }

  // Gives back to the input what the reader has not read yet.
  void StopReading() {
    if (!reader_) return;
    place_ = reader_->place();
    reader_.reset();
  }

  void Pass(std::string_view text) {
    place_.offset += text.size();
    if (const std::size_t line_end = text.rfind('\n'); line_end == std::string_view::npos) {
      place_.column += text.size();
    } else {
      place_.line += CountLines(text);
      place_.column = text.size() - line_end;
    }
  }

  const InputOptions& options_;
  const Util::JsonReadOptions read_;
  RecordInput input_;
  // Where what has been taken from the input ends, while there is no reader.
  Util::JsonPlace place_;
  std::optional<Util::JsonReader> reader_;
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
    std::size_t losses = 0;
    if (lossy_) {
      options.on_loss = [&record, &losses](const Util::JsonLoss& loss) {
        if (++losses > kMostLossesTold) return;
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
    if (losses > kMostLossesTold) {
      PrintError("warning: " + record + ": " + std::to_string(losses - kMostLossesTold) +
                 " more values are left out");
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
