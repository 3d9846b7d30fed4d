#include "message_stream.h"

#include <fcntl.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/text_format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "CmnSys/Util/DelimitedStream.h"
#include "failure.h"
#include "hex_dump.h"
#include "parse.h"

namespace CmnSys::Tool {

using google::protobuf::Message;
using google::protobuf::io::ArrayInputStream;
using google::protobuf::io::FileInputStream;
using google::protobuf::io::StringOutputStream;
using google::protobuf::io::ZeroCopyInputStream;

namespace {

constexpr std::string_view kSeparator = "---";

const std::map<std::string, Format>& FormatNames() {
  static const auto* const names =
      new std::map<std::string, Format>{{"auto", Format::kAuto},
                                        {"binary", Format::kBinary},
                                        {"delimited", Format::kDelimited},
                                        {"text", Format::kText},
                                        {"json", Format::kJson},
                                        {"hex", Format::kHex},
                                        {"delimited-hex", Format::kDelimitedHex}};
  return *names;
}

// The format that a file's name tells, or `other`.
Format FormatOf(const std::string& path, Format other) {
  static constexpr std::pair<std::string_view, Format> kEndings[] = {
      {".json", Format::kJson}, {".jsonl", Format::kJson},     {".ndjson", Format::kJson},
      {".txt", Format::kText},  {".textproto", Format::kText}, {".txtpb", Format::kText},
      {".hex", Format::kHex},   {".bin", Format::kBinary},     {".delimited", Format::kDelimited},
  };
  for (const auto& [ending, format] : kEndings) {
    if (path.size() > ending.size() &&
        path.compare(path.size() - ending.size(), ending.size(), ending) == 0) {
      return format;
    }
  }
  return other;
}

// The input as a stream of protobuf's.
class InputStream {
 public:
  explicit InputStream(const InputOptions& options) : name_(options.Name()) {
    descriptor_ =
        options.path == "-" ? STDIN_FILENO : ::open(options.path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) throw Failure("cannot read " + name_ + ": " + std::strerror(errno));
    stream_ = std::make_unique<FileInputStream>(descriptor_, 1 << 16);
  }
  ~InputStream() {
    if (descriptor_ != STDIN_FILENO) ::close(descriptor_);
  }
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;

  ZeroCopyInputStream* get() { return stream_.get(); }
  const std::string& name() const { return name_; }
  std::uint64_t position() const { return static_cast<std::uint64_t>(stream_->ByteCount()); }

  // Throws Failure when the stream has stopped for another reason than its end.
  void ExpectNoError() const {
    if (stream_->GetErrno() != 0) {
      throw Failure("cannot read " + name_ + ": " + std::strerror(stream_->GetErrno()));
    }
  }

 private:
  std::string name_;
  int descriptor_ = -1;
  std::unique_ptr<FileInputStream> stream_;
};

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
  std::uint64_t position() const override { return records_.position(); }

 private:
  std::string bytes_;
  ArrayInputStream stream_;
  DelimitedRecords records_;
};

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

class TextSource : public MessageSource {
 public:
  explicit TextSource(const InputOptions& options) : options_(options), input_(options) {}

  bool Next(Message* message) override {
    if (done_) return false;
    const int first_line = line_ + 1;
    std::string text;
    std::string line;
    done_ = true;
    while (ReadLine(&line)) {
      ++line_;
      if (IsSeparator(line)) {
        done_ = false;
        break;
      }
      text += line;
      if (text.size() > options_.max_bytes) throw TooLong();
    }
    input_.ExpectNoError();
    ParseText(text, options_, message, first_line);
    return true;
  }

  std::uint64_t position() const override { return input_.position(); }

 private:
  static bool IsSeparator(const std::string& line) {
    const std::size_t end = line.find_last_not_of(" \t\r\n");
    return end != std::string::npos && line.compare(0, end + 1, kSeparator) == 0;
  }

  // The next line with its end. Returns false when there is none.
  bool ReadLine(std::string* line) {
    line->clear();
    const void* data = nullptr;
    int size = 0;
    while (input_.get()->Next(&data, &size)) {
      const std::string_view block(static_cast<const char*>(data), static_cast<std::size_t>(size));
      const std::size_t end = block.find('\n');
      const std::size_t taken = end == std::string_view::npos ? block.size() : end + 1;
      *line += block.substr(0, taken);
      input_.get()->BackUp(size - static_cast<int>(taken));
      if (end != std::string_view::npos) return true;
      if (line->size() > options_.max_bytes) throw TooLong();
    }
    return !line->empty();
  }

  Failure TooLong() const {
    return Failure(options_.Name() + " holds a message longer than " +
                   std::to_string(options_.max_bytes) +
                   " bytes; raise the limit with --max-bytes if that is right");
  }

  const InputOptions& options_;
  InputStream input_;
  int line_ = 0;
  bool done_ = false;
};

// Collects the text of each message before it writes it, so that a message that cannot be written
// leaves nothing of itself.
class Sink : public MessageSink {
 public:
  Sink(const OutputOptions& options, OutputKind kind) : output_(options, kind) {}

  void Write(const Message& message) override {
    text_.clear();
    Print(message, count_, &text_);
    output_.Write(text_);
    ++count_;
  }

  void Finish() override { output_.Finish(); }

 protected:
  virtual void Print(const Message& message, std::uint64_t index, std::string* text) = 0;
  std::uint64_t count() const { return count_; }

 private:
  Output output_;
  std::uint64_t count_ = 0;
  std::string text_;
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

class TextSink : public Sink {
 public:
  explicit TextSink(const OutputOptions& options) : Sink(options, OutputKind::kText) {}

 protected:
  void Print(const Message& message, std::uint64_t index, std::string* text) override {
    if (index > 0) *text += std::string(kSeparator) + "\n";
    std::string fields;
    if (!google::protobuf::TextFormat::PrintToString(message, &fields)) {
      throw Failure("cannot print the message as text: out of memory");
    }
    *text += fields;
  }
};

class JsonSink : public Sink {
 public:
  JsonSink(const OutputOptions& options, const JsonOptions& json)
      : Sink(options, OutputKind::kText), options_(json.write), lossy_(json.lossy) {}

 protected:
  void Print(const Message& message, std::uint64_t index, std::string* text) override {
    const std::string record = "record " + std::to_string(index);
    if (lossy_) {
      options_.on_loss = [&record](const Util::JsonLoss& loss) {
        PrintError("warning: " + record + (loss.path.empty() ? "" : ", in " + loss.path) + ": " +
                   loss.reason);
      };
    }
    if (const auto error = Util::WriteJson(message, options_, text)) {
      throw Failure(record + " cannot be written as JSON: " + Util::ToString(*error) +
                    "; --lossy leaves out what JSON cannot hold, text keeps it");
    }
    *text += '\n';
  }

 private:
  Util::JsonWriteOptions options_;
  bool lossy_;
};

std::string ReadHexDump(const InputOptions& options) {
  // A dump takes up to five characters for each byte, and its offsets.
  InputOptions text = options;
  text.max_bytes = options.max_bytes * 6 + 1024;
  return ParseHexDump(ReadInput(text), options.Name(), options.max_bytes);
}

}  // namespace

const char kFormatHelp[] =
    "Formats, and the endings of file names by which \"auto\" knows them:\n"
    "  binary         one message as wire bytes (.bin, and any other ending)\n"
    "  delimited      any number, each behind its length as a varint (.delimited)\n"
    "  text           text format; a line --- stands between messages (.txt .textproto .txtpb)\n"
    "  json           one object after the other (.json .jsonl .ndjson)\n"
    "  hex            a dump of binary, as from xxd, hexdump -C, od -t x1 or a log (.hex)\n"
    "  delimited-hex  a dump of delimited";

CLI::Option* AddFormatOption(CLI::App* command, const std::string& name, Format* format,
                             const std::string& description) {
  std::vector<std::string> names;
  for (const auto& entry : FormatNames()) names.push_back(entry.first);
  return command
      ->add_option_function<std::string>(
          name, [format](const std::string& value) { *format = FormatNames().at(value); },
          description)
      ->check(CLI::IsMember(names))
      ->type_name("FORMAT")
      ->default_str("auto");
}

void JsonOptions::AddTo(CLI::App* command) {
  const std::string group = "JSON";
  command
      ->add_flag(
          "--compact", [this](std::int64_t) { write.indent = 0; }, "One line a message")
      ->group(group);
  command->add_flag("--schema-names", write.schema_names, "Field names as the schema spells them")
      ->group(group);
  command->add_flag("--enums-as-numbers", write.enums_as_numbers, "Enum values by number")
      ->group(group);
  command
      ->add_flag(
          "--hex-bytes",
          [this](std::int64_t) { write.bytes = read.bytes = Util::JsonBytes::kHexadecimal; },
          "Bytes fields in hexadecimal instead of base64, also when reading")
      ->group(group);
  command->add_flag("--unset-fields", write.unset_fields, "Also unset fields, with their defaults")
      ->group(group);
  command
      ->add_flag("--lossy", lossy,
                 "Leave out, with a warning, unknown fields and bytes that are not UTF-8")
      ->group(group);
}

std::unique_ptr<MessageSource> OpenSource(const InputOptions& options, Format format,
                                          const JsonOptions& json) {
  switch (format == Format::kAuto ? FormatOf(options.path, Format::kBinary) : format) {
    case Format::kDelimited:
      return std::make_unique<DelimitedSource>(options);
    case Format::kText:
      return std::make_unique<TextSource>(options);
    case Format::kJson:
      return std::make_unique<JsonSource>(options, json.read);
    case Format::kHex:
      return std::make_unique<SingleSource>(options, ReadHexDump(options));
    case Format::kDelimitedHex:
      return std::make_unique<DelimitedHexSource>(options, ReadHexDump(options));
    default:
      return std::make_unique<SingleSource>(options, ReadInput(options));
  }
}

WireInput ReadWireInput(const InputOptions& options, Format format) {
  switch (format == Format::kAuto ? FormatOf(options.path, Format::kBinary) : format) {
    case Format::kDelimited:
      return {ReadInput(options), true};
    case Format::kHex:
      return {ReadHexDump(options), false};
    case Format::kDelimitedHex:
      return {ReadHexDump(options), true};
    case Format::kText:
    case Format::kJson:
      throw Failure("text and JSON cannot be read without knowing the message type");
    default:
      return {ReadInput(options), false};
  }
}

std::unique_ptr<MessageSink> OpenSink(const OutputOptions& options, Format format,
                                      const JsonOptions& json) {
  const Format other = options.path == "-" ? Format::kJson : Format::kBinary;
  switch (format == Format::kAuto ? FormatOf(options.path, other) : format) {
    case Format::kDelimited:
      return std::make_unique<DelimitedSink>(options, false);
    case Format::kDelimitedHex:
      return std::make_unique<DelimitedSink>(options, true);
    case Format::kText:
      return std::make_unique<TextSink>(options);
    case Format::kJson:
      return std::make_unique<JsonSink>(options, json);
    case Format::kHex:
      return std::make_unique<SingleSink>(options, true);
    default:
      return std::make_unique<SingleSink>(options, false);
  }
}

}  // namespace CmnSys::Tool
