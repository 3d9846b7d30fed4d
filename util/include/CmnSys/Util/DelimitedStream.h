// Streams of messages in protobuf's varint-delimited form: for each message its length as a varint,
// then its bytes, and nothing between them.
//
// google/protobuf/util/delimited_message_util.h reads and writes the same form. What it does not
// tell, these do: whether a stream ended where a record ended, was cut off inside one, or holds
// something that is no record; in which record and at which byte; and why a record is no message.
// Besides, records are limited in size, and memory is taken for bytes that have arrived, not for
// those that a length announces.

#ifndef CMNSYS_UTIL_DELIMITED_STREAM_H_
#define CMNSYS_UTIL_DELIMITED_STREAM_H_

#include <google/protobuf/io/zero_copy_stream.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "CmnSys/Util/Export.h"

namespace CmnSys::Util {

// Size of one record unless the caller says otherwise: 64 MiB.
constexpr std::uint64_t kDefaultMaxRecordBytes = std::uint64_t{64} << 20;

struct DelimitedReadOptions {
  // Length of one record. At most 2^31 - 1, what protobuf can parse.
  std::uint64_t max_record_bytes = kDefaultMaxRecordBytes;
  // Messages nested below the outermost one of a record. Each takes some 400 bytes of the stack.
  int max_depth = 100;
};

enum class DelimitedStatus {
  // The next record has been read.
  kRecord,
  // The stream ended behind a record, or is empty.
  kEnd,
  // The stream ended inside a record or its length.
  kTruncated,
  // A length stands here that no record can have: longer than a varint, or above 2^31 - 1. What
  // follows cannot be told apart any more.
  kCorruptLength,
  // The record's bytes are no message of the type. The stream stands behind the record, and reading
  // can go on with the next one.
  kCorruptRecord,
  // The record is longer than the limit. Its bytes have not been read.
  kTooLong,
};

struct DelimitedError {
  std::uint64_t record = 0;  // Counted from 0.
  // Where in the stream: the place in the record at which it stops making sense, or for a length
  // the first byte of it.
  std::uint64_t offset = 0;
  // What is wrong, as a sentence without its full stop.
  std::string reason;
};

// The error as one line: "record 12, at byte 4711: the stream ends 3 bytes before the record does".
CMNSYSUTIL_EXPORT std::string ToString(const DelimitedError& error);

// Reads one record after the other. Not thread-safe.
class CMNSYSUTIL_EXPORT DelimitedReader {
 public:
  // The input must outlive the reader, and be read by nobody else meanwhile. The reader takes from
  // it exactly the bytes of the records read.
  explicit DelimitedReader(google::protobuf::io::ZeroCopyInputStream* input,
                           const DelimitedReadOptions& options = {});

  // Replaces the content of `message` by the next record. It is empty unless the result is kRecord.
  // After kTruncated, kCorruptLength and kTooLong every further call returns the same. Whether the
  // input came to its end or failed is for the input to tell, see for example
  // google::protobuf::io::FileInputStream::GetErrno.
  [[nodiscard]] DelimitedStatus Read(google::protobuf::Message* message);

  // The same without parsing: gives the record's bytes, which need not be a message, for views and
  // for passing on. They stay until the next call, or any other use of the input: a record that
  // lies in one of the input's blocks is not copied. An input has to keep its block when BackUp is
  // called, as all of protobuf's do.
  [[nodiscard]] DelimitedStatus Read(std::string_view* bytes);

  // What was wrong when Read last returned neither kRecord nor kEnd.
  const DelimitedError& error() const { return error_; }

  // Bytes read so far, which is where the next record begins, and records read, corrupt ones
  // included.
  std::uint64_t position() const { return position_; }
  std::uint64_t records() const { return records_; }

 private:
  DelimitedStatus ReadRecord(std::uint64_t* length);
  bool ReadInPlace(std::uint64_t* length);
  DelimitedStatus ReadLength(std::uint64_t* length);
  DelimitedStatus ReadBytes(std::uint64_t length);
  DelimitedStatus Fail(DelimitedStatus status, std::uint64_t offset, std::string reason);

  google::protobuf::io::ZeroCopyInputStream* input_;
  DelimitedReadOptions options_;
  DelimitedError error_;
  std::optional<DelimitedStatus> final_;
  std::uint64_t position_ = 0;
  std::uint64_t records_ = 0;
  std::string_view record_;  // The one being read.
  std::string bytes_;        // Of one that is in several blocks.
};

// Appends one record to the output. Returns nothing when that succeeded, or why not: the message is
// longer than `max_record_bytes`, so that a reader with that limit would refuse it, and nothing has
// been written; or the output fails. Thread-safe for distinct outputs.
[[nodiscard]] CMNSYSUTIL_EXPORT std::optional<std::string> WriteDelimited(
    const google::protobuf::Message& message, google::protobuf::io::ZeroCopyOutputStream* output,
    std::uint64_t max_record_bytes = kDefaultMaxRecordBytes);

// The same for bytes, such as those that a DelimitedReader gave; that they are a message is not
// checked.
[[nodiscard]] CMNSYSUTIL_EXPORT std::optional<std::string> WriteDelimited(
    std::string_view bytes, google::protobuf::io::ZeroCopyOutputStream* output,
    std::uint64_t max_record_bytes = kDefaultMaxRecordBytes);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_DELIMITED_STREAM_H_
