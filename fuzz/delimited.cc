// Bytes read as a delimited stream of messages.
//
// A reader of a few lines splits the stream into the same records, whatever the blocks in which the
// bytes come; what was read is written and read again.

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include "CmnSys/Util/DelimitedStream.h"
#include "CmnSys/Util/Parse.h"
#include "messages.h"

namespace CmnSys::Fuzz {

using google::protobuf::io::ArrayInputStream;
using Util::DelimitedStatus;

namespace {

// What a reader has to say of the record at `position`, and the record, which is taken away.
DelimitedStatus Expected(std::string_view* bytes, std::string_view* record,
                         std::uint64_t max_record_bytes) {
  if (bytes->empty()) return DelimitedStatus::kEnd;
  std::uint64_t length = 0;
  for (std::size_t i = 0;; ++i) {
    if (i == 5) return DelimitedStatus::kCorruptLength;
    if (i == bytes->size()) return DelimitedStatus::kTruncated;
    const auto byte = static_cast<unsigned char>((*bytes)[i]);
    length |= static_cast<std::uint64_t>(byte & 0x7f) << (7 * i);
    if (byte < 0x80) {
      if (length > 0x7fffffff) return DelimitedStatus::kCorruptLength;
      if (length > max_record_bytes) return DelimitedStatus::kTooLong;
      bytes->remove_prefix(i + 1);
      break;
    }
  }
  if (length > bytes->size()) return DelimitedStatus::kTruncated;
  *record = bytes->substr(0, length);
  bytes->remove_prefix(length);
  return DelimitedStatus::kRecord;
}

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) return;
  const auto message = split.New();
  Util::DelimitedReadOptions options;
  for (const int block : {1, 5, -1}) {
    // No memory goes with a length that is only announced.
    options.max_record_bytes = block < 0 ? INT32_MAX : 1000;
    ArrayInputStream stream(split.content.data(), static_cast<int>(split.content.size()), block);
    Util::DelimitedReader reader(&stream, options);
    std::string_view left = split.content;
    for (bool done = false; !done;) {
      std::string_view record;
      DelimitedStatus expected = Expected(&left, &record, options.max_record_bytes);
      if (expected == DelimitedStatus::kRecord &&
          Util::FindWireFault(*message->GetDescriptor(), record)) {
        expected = DelimitedStatus::kCorruptRecord;
      }
      const DelimitedStatus status = reader.Read(message.get());
      Expect(status == expected, "status " + std::to_string(static_cast<int>(status)) + " for " +
                                     std::to_string(static_cast<int>(expected)));
      if (status == DelimitedStatus::kRecord) {
        std::string written;
        google::protobuf::io::StringOutputStream output(&written);
        Expect(!Util::WriteDelimited(*message, &output), "a record can be written");
        const auto back = split.New();
        ArrayInputStream again(written.data(), static_cast<int>(written.size()));
        Expect(Util::DelimitedReader(&again).Read(back.get()) == DelimitedStatus::kRecord &&
                   Bytes(*back) == Bytes(*message),
               "a written record is the one that was read");
      } else if (status != DelimitedStatus::kEnd) {
        Expect(reader.error().offset <= split.content.size(), "the error lies in the stream");
      }
      done = status != DelimitedStatus::kRecord && status != DelimitedStatus::kCorruptRecord;
      Expect(done || reader.position() == split.content.size() - left.size(),
             "the reader stands behind the record");
    }
  }
}

// Three records of a type.
std::vector<std::string> Seeds() {
  std::vector<std::string> seeds;
  for (const std::string& seed : WireSeeds()) {
    const TypedInput split = SplitInput(seed);
    const auto message = split.New();
    kWireForm.read(split.content, message.get());
    std::string stream;
    google::protobuf::io::StringOutputStream output(&stream);
    for (int i = 0; i < 3; ++i) {
      Expect(!Util::WriteDelimited(*message, &output), "a seed can be written");
      message->Clear();
    }
    output.BackUp(0);
    seeds.push_back(JoinInput(*message, stream));
  }
  return seeds;
}

// Bytes, because a mutator that makes whole records tries no lengths.
const Registration kRegistration({"delimited", Run, Seeds});

}  // namespace
}  // namespace CmnSys::Fuzz
