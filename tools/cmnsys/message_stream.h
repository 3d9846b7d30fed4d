// Messages read from and written to the formats that commands take.

#ifndef CMNSYS_TOOLS_MESSAGE_STREAM_H_
#define CMNSYS_TOOLS_MESSAGE_STREAM_H_

#include <google/protobuf/message.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>

#include "CmnSys/Util/Json.h"
#include "input.h"
#include "output.h"

namespace CmnSys::Tool {

enum class Format {
  kAuto,          // By the ending of the file's name.
  kBinary,        // Wire bytes of one message.
  kDelimited,     // Any number of messages, each behind its length as a varint.
  kText,          // Text format; a line "---" stands between messages.
  kJson,          // One JSON object after the other.
  kHex,           // A dump of kBinary.
  kDelimitedHex,  // A dump of kDelimited.
};

// Adds the option `name` that takes a format.
CLI::Option* AddFormatOption(CLI::App* command, const std::string& name, Format* format,
                             const std::string& description);

// What the formats and the endings that stand for them are, for help texts.
extern const char kFormatHelp[];

// Options of JSON, for commands that read or write it.
struct JsonOptions {
  Util::JsonWriteOptions write;
  Util::JsonReadOptions read;
  bool lossy = false;

  void AddTo(CLI::App* command);
};

// A sequence of messages in a file or from standard input. Only one of them is in memory at a time,
// except for dumps, which are held whole.
class MessageSource {
 public:
  virtual ~MessageSource() = default;

  // Replaces the content of `message` by the next one; returns false when there is none. Throws
  // Failure for input that cannot be read or holds something else.
  virtual bool Next(google::protobuf::Message* message) = 0;

  // Bytes of the input read so far.
  virtual std::uint64_t position() const = 0;
};

// `options.max_bytes` limits each message. The options must outlive the source.
std::unique_ptr<MessageSource> OpenSource(const InputOptions& options, Format format,
                                          const JsonOptions& json);

// The wire bytes of an input whose message type is not known, and whether they are to be read as
// delimited messages. Throws Failure for text and JSON, which cannot be read without a type.
struct WireInput {
  std::string bytes;
  bool delimited = false;
};
WireInput ReadWireInput(const InputOptions& options, Format format);

// Where a sequence of messages goes.
class MessageSink {
 public:
  virtual ~MessageSink() = default;

  // Throw Failure when the message cannot be written in this format, or not at all.
  virtual void Write(const google::protobuf::Message& message) = 0;

  // Completes the output; without it, no file appears.
  virtual void Finish() = 0;
};

// The options must outlive the sink. kAuto stands for JSON on standard output.
std::unique_ptr<MessageSink> OpenSink(const OutputOptions& options, Format format,
                                      const JsonOptions& json);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_MESSAGE_STREAM_H_
