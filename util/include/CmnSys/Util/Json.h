// Messages as JSON and back, with their extensions.
//
// The form is protobuf's own JSON mapping, https://protobuf.dev/programming-guides/json/; the JSON
// itself is that of RFC 8259, in UTF-8. Extensions are members named "[full.extension.name]", as
// other protobuf implementations write them. Both directions work on any message type, and neither
// keeps a tree of the JSON: the writer has the message serialized and walks its wire bytes, the
// reader turns the JSON into the wire bytes of the message while it reads and has protobuf parse
// those. What both need to know of a type they work out when they first meet it; for types of
// generated classes that serves all threads from then on.
//
// Nothing is lost without a word. What JSON cannot hold is an error, or is told to the caller:
// unknown fields, values of an enum that this release does not know (protobuf keeps them as unknown
// fields), and strings that are not UTF-8, which protobuf's wire format lets pass. Not kept are
// which of its many bit patterns a NaN has, the order in which fields were written, and what
// protobuf does not serialize either: fields of a message set that are no items of it.
//
// Schemas of users may have what this one does not. Maps are objects; the google.protobuf types
// with a form of their own (Any, Timestamp, Struct and the like) have it, an Any only where the
// pool of its descriptor knows the type that it holds. Open enums keep numbers without a name.
// Where two fields of a type share a JSON name, they stand under their own names.

#ifndef CMNSYS_UTIL_JSON_H_
#define CMNSYS_UTIL_JSON_H_

#include <google/protobuf/io/zero_copy_stream.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "CmnSys/Util/Export.h"

namespace CmnSys::Util {

// How a bytes field stands in a JSON string.
enum class JsonBytes {
  // RFC 4648 section 4, padded, as the mapping wants it. The reader also takes the URL-safe
  // alphabet of section 5, and does without padding.
  kBase64,
  // Two hexadecimal digits a byte, in lower case; the reader takes both cases.
  kHexadecimal,
};

// A place in a text: line and column (in bytes) from 1, and bytes from the beginning.
struct JsonPlace {
  std::uint64_t line = 1;
  std::uint64_t column = 1;
  std::uint64_t offset = 0;
};

struct JsonError {
  // Where the offending token begins in the text read: line and column (in bytes) from 1, and bytes
  // from the beginning of the stream. All 0 when writing.
  std::uint64_t line = 0;
  std::uint64_t column = 0;
  std::uint64_t offset = 0;
  // The field concerned, as schema names joined by dots, with indexes of repeated fields and
  // extensions in brackets: "arguments[1].iota_u32.val". Empty for the message itself.
  std::string path;
  // What is wrong, as a sentence without its full stop.
  std::string reason;
};

// The error as one line: "line 2, column 14, in iota_u32.val: 4294967296 is out of range for
// uint32".
CMNSYSUTIL_EXPORT std::string ToString(const JsonError& error);

// Something that a message holds and its JSON does not.
struct JsonLoss {
  std::string path;    // As in JsonError.
  std::string reason;  // As in JsonError.
};

struct JsonWriteOptions {
  // Field names as the schema spells them, instead of lowerCamelCase.
  bool schema_names = false;
  // Enum values by number instead of by name.
  bool enums_as_numbers = false;
  JsonBytes bytes = JsonBytes::kBase64;
  // Blanks for each level, at most 16; 0 writes everything on one line, without any blank.
  int indent = 2;
  // Also writes unset scalar fields, with the value that they read as, and empty repeated fields.
  // Reading that back gives a message in which they are set. Unset sub-messages and extensions, and
  // unset members of a oneof, are left out.
  bool unset_fields = false;
  // Called for each unknown field, which is then left out, and for each string that is not UTF-8,
  // in which U+FFFD then stands for every offending byte. Without it both are errors.
  std::function<void(const JsonLoss&)> on_loss;
  // Messages nested below the outermost one. Each takes some 1,100 bytes of the stack.
  int max_depth = 100;
};

// Writes the message. Returns nothing when that succeeded, or the first error: something that JSON
// cannot hold (see on_loss), messages nested too deep, a message of more than 2^31 - 17 bytes on
// the wire, or an output that fails. After an error the output holds part of the JSON. No line end
// follows the JSON. Required fields that are missing are no error here, but ReadJson refuses the
// JSON. Thread-safe as long as nobody changes the message; O(size of the message). Until it returns
// it takes as much memory as the message has bytes on the wire.
[[nodiscard]] CMNSYSUTIL_EXPORT std::optional<JsonError> WriteJson(
    const google::protobuf::Message& message, const JsonWriteOptions& options,
    google::protobuf::io::ZeroCopyOutputStream* output);

// The same into a string, whose former content is lost.
[[nodiscard]] CMNSYSUTIL_EXPORT std::optional<JsonError> WriteJson(
    const google::protobuf::Message& message, const JsonWriteOptions& options, std::string* json);

struct JsonReadOptions {
  JsonBytes bytes = JsonBytes::kBase64;
  // Messages nested below the outermost one. Each takes some 1,000 bytes of the stack.
  int max_depth = 100;
  // Length of one message's JSON. At most 2^31 - 1.
  std::uint64_t max_bytes = std::uint64_t{256} << 20;
};

// Reads one message; white space may surround it, and a byte order mark stand before it, anything
// else is an error. Returns nothing when that succeeded, or the first error; the message is then
// empty.
//
// Member names are taken in lowerCamelCase and as the schema spells them. null leaves a field
// unset. 64-bit numbers are taken as strings and as numbers, whole numbers also with fraction or
// exponent as long as their value is whole (1e3), numbers of float and double fields rounded to the
// nearest value. Errors are: malformed JSON, members that the type does not have or that stand
// twice (in either spelling), two members of one oneof, values of the wrong kind or out of range,
// names and numbers that the enum does not declare, null in an array, strings that are not UTF-8,
// also by an escaped lone surrogate, missing required fields, and the limits of the options.
// Thread-safe for distinct messages; O(length of the JSON), and takes memory for the message and
// its wire bytes.
[[nodiscard]] CMNSYSUTIL_EXPORT std::optional<JsonError> ReadJson(
    std::string_view json, const JsonReadOptions& options, google::protobuf::Message* message);

// Reads a stream of messages: JSON values one after the other, apart or not by white space, as in
// JSON Lines (https://jsonlines.org). Reads no further than the end of a value before it returns
// it, apart from what the input hands out at once. Keeps the memory that the longest message took.
// Not thread-safe.
class CMNSYSUTIL_EXPORT JsonReader {
 public:
  enum class Status {
    kMessage,  // The next message has been read.
    kEnd,    // There is none; the input has ended or failed, which only the input itself can tell.
    kError,  // See error(). Further reading is not possible.
  };

  // The input must outlive the reader. What the reader has taken from it and not used goes back
  // when the reader is destroyed. `start` is where the input begins in the whole stream; a byte
  // order mark may stand at the beginning of the whole only.
  explicit JsonReader(google::protobuf::io::ZeroCopyInputStream* input,
                      const JsonReadOptions& options = {}, const JsonPlace& start = {});
  ~JsonReader();
  JsonReader(const JsonReader&) = delete;
  JsonReader& operator=(const JsonReader&) = delete;

  // Replaces the content of `message` by the next one. It is empty unless the result is kMessage.
  [[nodiscard]] Status Read(google::protobuf::Message* message);

  // Behind the last message, or the beginning.
  JsonPlace place() const;

  // What was wrong when Read returned kError.
  const JsonError& error() const;

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_JSON_H_
