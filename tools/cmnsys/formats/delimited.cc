// Messages behind their lengths: delimited and delimited-hex.

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <optional>
#include <utility>

#include "CmnSys/Util/DelimitedStream.h"
#include "formats/hex_dump.h"
#include "formats/sink.h"
#include "formats/streams.h"
#include "io/failure.h"
#include "io/input_stream.h"

namespace CmnSys::Tool {

using google::protobuf::Message;
using google::protobuf::io::ArrayInputStream;
using google::protobuf::io::StringOutputStream;
using google::protobuf::io::ZeroCopyInputStream;

namespace {

// Delimited messages on a stream of protobuf's.
class DelimitedRecords {
 public:
  DelimitedRecords(const InputOptions& options, ZeroCopyInputStream* stream)
      : name_(options.Name()), reader_(stream, {options.max_bytes, options.max_depth}) {}

  bool Next(Message* message) {
    const Util::DelimitedStatus status = reader_.Read(message);
    if (status == Util::DelimitedStatus::kRecord) return true;
    if (status == Util::DelimitedStatus::kEnd) return false;
    std::string error = name_ + ": " + Util::ToString(reader_.error());
    if (status == Util::DelimitedStatus::kTooLong) error += " (--max-bytes)";
    throw Failure(error);
  }

  std::uint64_t position() const { return reader_.position(); }

 private:
  std::string name_;
  Util::DelimitedReader reader_;
};

class DelimitedSource : public MessageSource {
 public:
  explicit DelimitedSource(const InputOptions& options)
      : input_(options), records_(options, input_.get()) {}

  bool Next(Message* message) override {
    try {
      if (records_.Next(message)) return true;
    } catch (const Failure&) {
      input_.ExpectNoError();
      throw;
    }
    input_.ExpectNoError();
    return false;
  }

  bool is_stream() const override { return true; }
  std::uint64_t position() const override { return records_.position(); }

 private:
  InputStream input_;
  DelimitedRecords records_;
};

class DelimitedHexSource : public MessageSource {
 public:
  DelimitedHexSource(const InputOptions& options, std::string bytes)
      : bytes_(std::move(bytes)),
        stream_(bytes_.data(), static_cast<int>(bytes_.size())),
        records_(options, &stream_) {}

  bool Next(Message* message) override { return records_.Next(message); }
  bool is_stream() const override { return true; }
  std::uint64_t position() const override { return records_.position(); }

 private:
  std::string bytes_;
  ArrayInputStream stream_;
  DelimitedRecords records_;
};

class DelimitedSink : public Sink {
 public:
  DelimitedSink(const OutputOptions& options, bool hex)
      : Sink(options, hex ? OutputKind::kText : OutputKind::kBinary), hex_(hex) {}

 protected:
  void Print(const Message& message, std::uint64_t /*index*/, std::string* text) override {
    std::optional<std::string> error;
    {
      StringOutputStream stream(text);
      error = Util::WriteDelimited(message, &stream, UINT64_MAX);
    }
    if (error) throw Failure(*error);
    if (hex_) {
      const std::uint64_t size = text->size();
      *text = FormatHexDump(*text, offset_);
      offset_ += size;
    }
  }

 private:
  bool hex_;
  std::uint64_t offset_ = 0;
};

}  // namespace

std::unique_ptr<MessageSource> OpenDelimitedSource(const InputOptions& options) {
  return std::make_unique<DelimitedSource>(options);
}

std::unique_ptr<MessageSource> OpenDelimitedSource(const InputOptions& options, std::string bytes) {
  return std::make_unique<DelimitedHexSource>(options, std::move(bytes));
}

std::unique_ptr<MessageSink> OpenDelimitedSink(const OutputOptions& options, bool hex) {
  return std::make_unique<DelimitedSink>(options, hex);
}

}  // namespace CmnSys::Tool
