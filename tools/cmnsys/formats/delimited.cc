// Messages behind their lengths: delimited and delimited-hex.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "CmnSys/Util/DelimitedStream.h"
#include "CmnSys/Util/Parse.h"
#include "formats/delimited_bytes.h"
#include "formats/hex_dump.h"
#include "formats/sink.h"
#include "formats/streams.h"
#include "io/failure.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

// Throws Failure about the record at hand.
void Decode(const DelimitedBlock& record, const InputOptions& options, Message* message) {
  Util::ParseLimits limits;
  limits.max_depth = options.max_depth;
  if (const auto fault = Util::Parse(record.message(), limits, message)) {
    record.FailInRecord(options.Name(), fault->offset,
                        (fault->path.empty() ? "" : "in " + fault->path + ", ") + fault->reason);
  }
}

class Block : public MessageBlock {
 public:
  explicit Block(const InputOptions& options) : options_(options) {}

  bool Next(Message* message) override {
    if (!records_.Next()) return false;
    Decode(records_, options_, message);
    return true;
  }

  void Back() override { records_.Back(); }
  std::uint64_t position() const override { return records_.position(); }
  std::size_t bytes() const override { return records_.capacity(); }
  void Release() override { records_.Release(); }

  DelimitedBlock* records() { return &records_; }

 private:
  const InputOptions& options_;
  DelimitedBlock records_;
};

class DelimitedSource : public MessageSource {
 public:
  explicit DelimitedSource(const InputOptions& options) : options_(options), records_(options) {}
  DelimitedSource(const InputOptions& options, std::string_view bytes)
      : options_(options), records_(options, bytes) {}

  bool Next(Message* message) override {
    if (!records_.Next()) return false;
    Decode(records_.record(), options_, message);
    return true;
  }

  bool is_stream() const override { return true; }
  std::uint64_t position() const override { return records_.position(); }

  std::unique_ptr<MessageBlock> NewBlock() override {
    if (!records_.PrepareInterrupt()) return nullptr;
    return std::make_unique<Block>(options_);
  }
  bool Take(std::uint64_t most, MessageBlock* block) override {
    return records_.Take(most, static_cast<Block*>(block)->records());
  }
  std::uint64_t Wait(std::uint64_t most) override { return records_.Wait(most); }
  void Interrupt() override { records_.Interrupt(); }

 private:
  const InputOptions& options_;
  DelimitedBytes records_;
};

void Append(const Message& message, Buffer* text) {
  if (const auto error = Util::WriteDelimited(message, text, UINT64_MAX)) throw Failure(*error);
}

class DelimitedSink : public Sink {
 public:
  explicit DelimitedSink(const OutputOptions& options) : Sink(options, OutputKind::kBinary) {}

  bool prints_apart() const override { return true; }
  bool Print(const Message& message, Buffer* text) const override {
    Append(message, text);
    return true;
  }

 protected:
  void PrintNext(const Message& message, std::uint64_t /*index*/, Buffer* text) override {
    Append(message, text);
  }
};

class DelimitedHexSink : public Sink {
 public:
  explicit DelimitedHexSink(const OutputOptions& options) : Sink(options, OutputKind::kText) {}

 protected:
  void PrintNext(const Message& message, std::uint64_t /*index*/, Buffer* text) override {
    record_.Truncate(0);
    Append(message, &record_);
    text->Append(FormatHexDump(record_.bytes(), offset_));
    offset_ += record_.size();
  }

 private:
  Buffer record_;
  std::uint64_t offset_ = 0;
};

}  // namespace

std::unique_ptr<MessageSource> OpenDelimitedSource(const InputOptions& options) {
  return std::make_unique<DelimitedSource>(options);
}

std::unique_ptr<MessageSource> OpenDelimitedSource(const InputOptions& options,
                                                   std::string_view bytes) {
  return std::make_unique<DelimitedSource>(options, bytes);
}

std::unique_ptr<MessageSink> OpenDelimitedSink(const OutputOptions& options, bool hex) {
  if (hex) return std::make_unique<DelimitedHexSink>(options);
  return std::make_unique<DelimitedSink>(options);
}

}  // namespace CmnSys::Tool
