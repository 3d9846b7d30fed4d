// Messages read from and written to the formats that commands take.

#ifndef CMNSYS_TOOLS_FORMATS_MESSAGE_STREAM_H_
#define CMNSYS_TOOLS_FORMATS_MESSAGE_STREAM_H_

#include <google/protobuf/message.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "CmnSys/Util/Json.h"
#include "formats/format.h"
#include "io/buffer.h"
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

// Messages that have been taken from a source but not read yet. Not thread-safe, but independent of
// the source and of its other blocks.
class MessageBlock {
 public:
  virtual ~MessageBlock() = default;

  // Replaces the content of `message` by the next one; returns false when there is none. Throws
  // Failure for one that is malformed, as the source would do.
  virtual bool Next(google::protobuf::Message* message) = 0;

  // Goes back to the message that Next gave last or threw about, with which Next goes on.
  virtual void Back() = 0;

  // Bytes of the input up to the end of the message that Next gave last.
  virtual std::uint64_t position() const = 0;

  // Memory that the block takes; Release gives back what is more than usual, and the messages.
  virtual std::size_t bytes() const = 0;
  virtual void Release() = 0;
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

  // A block for messages of this source, or nullptr where the format tells only by reading a
  // message where it ends.
  virtual std::unique_ptr<MessageBlock> NewBlock() { return nullptr; }

  // Takes 1 to `most` messages, to which Next then does not come any more, from the source. Waits
  // until there is one. Returns false where Next has to tell what comes: the end, or an error.
  virtual bool Take(std::uint64_t /*most*/, MessageBlock* /*block*/) { return false; }

  // Waits until messages can be taken, and returns how many are there already, at most `most`; 0
  // where Next has to tell what comes.
  virtual std::uint64_t Wait(std::uint64_t /*most*/) { return 0; }

  // Lets a call of Take or Wait that waits return, and those that follow. Thread-safe.
  virtual void Interrupt() {}
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

  // Whether messages behind the first one can be printed apart from each other.
  virtual bool prints_apart() const { return false; }

  // Appends what Write would write for a message behind the first one. Returns false, with the text
  // as it was, when only Write can do that or tell why not. Thread-safe for distinct texts.
  virtual bool Print(const google::protobuf::Message& /*message*/, Buffer* /*text*/) const {
    return false;
  }

  // Writes the text of messages, told by where each ends in it.
  virtual void WritePrinted(std::string_view /*text*/, const std::vector<std::size_t>& /*ends*/) {}
};

// The options must outlive the sink. kAuto stands for JSON on standard output. Throws Failure when
// the output cannot be opened, and for binary formats at a terminal.
std::unique_ptr<MessageSink> OpenSink(const OutputOptions& options, Format format,
                                      const JsonOptions& json);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_MESSAGE_STREAM_H_
