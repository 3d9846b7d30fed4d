// Messages read from and written to the formats that commands take.

#ifndef CMNSYS_TOOLS_FORMATS_MESSAGE_STREAM_H_
#define CMNSYS_TOOLS_FORMATS_MESSAGE_STREAM_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <memory>
#include <string>

#include "CmnSys/Util/Json.h"
#include "formats/format.h"
#include "io/input.h"
#include "io/output.h"

namespace CmnSys::Tool {

// How commands read and write JSON.
struct JsonOptions {
  Util::JsonWriteOptions write;
  Util::JsonReadOptions read;
  bool lossy = false;    // Leaves out, with a warning, what JSON cannot hold.
  bool numbered = true;  // Warnings and errors name the record by its number.
};

// A sequence of messages in a file or from standard input. Only one of them is in memory at a time,
// except for dumps, which are held whole.
class MessageSource {
 public:
  virtual ~MessageSource() = default;

  // Replaces the content of `message` by the next one; returns false when there is none. Throws
  // Failure for input that cannot be read or holds something else.
  virtual bool Next(google::protobuf::Message* message) = 0;

  // Whether the format says that there may be any number of messages, as delimited does. Other
  // formats tell only by a second message.
  virtual bool is_stream() const { return false; }

  // Bytes of the input read so far.
  virtual std::uint64_t position() const = 0;
};

// `options.max_bytes` limits each message. The options must outlive the source.
std::unique_ptr<MessageSource> OpenSource(const InputOptions& options, Format format,
                                          const JsonOptions& json);

// The wire bytes of an input whose message type is not known, of a long one `most` or more from its
// beginning, and whether they are to be read as delimited messages. Throws Failure for text and
// JSON, which cannot be read without a type.
struct WireInput {
  std::string bytes;
  bool delimited = false;
  bool is_whole = true;
};
WireInput ReadWireInput(const InputOptions& options, Format format, std::uint64_t most);

// Where a sequence of messages goes.
class MessageSink {
 public:
  virtual ~MessageSink() = default;

  // Throw Failure when the message cannot be written in this format, or not at all.
  virtual void Write(const google::protobuf::Message& message) = 0;

  // Completes the output; without it, no file appears.
  virtual void Finish() = 0;
};

// The options must outlive the sink. kAuto stands for JSON on standard output. Throws Failure when
// the output cannot be opened, and for binary formats at a terminal.
std::unique_ptr<MessageSink> OpenSink(const OutputOptions& options, Format format,
                                      const JsonOptions& json);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_MESSAGE_STREAM_H_
