#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/util/delimited_message_util.h>

#include <algorithm>
#include <utility>

#include "CmnSys/Util/DelimitedStream.h"
#include "CmnSys/Util/Parse.h"
#include "CmnSys/View/Wire.h"
#include "wire/record_length.h"

namespace CmnSys::Util {

using google::protobuf::Message;
using google::protobuf::io::ZeroCopyInputStream;
using google::protobuf::io::ZeroCopyOutputStream;

namespace {

// Takes one byte from the input; returns false at its end.
bool TakeByte(ZeroCopyInputStream* input, std::uint8_t* byte) {
  const void* data = nullptr;
  int size = 0;
  while (size == 0) {
    if (!input->Next(&data, &size)) return false;
  }
  *byte = *static_cast<const std::uint8_t*>(data);
  input->BackUp(size - 1);
  return true;
}

std::optional<std::string> TooLong(std::uint64_t size, std::uint64_t max_record_bytes) {
  const std::uint64_t limit = std::min(max_record_bytes, kMostMessageBytes);
  if (size <= limit) return std::nullopt;
  return IsTooLong("record", size, limit);
}

}  // namespace

std::string ToString(const DelimitedError& error) {
  return "record " + std::to_string(error.record) + ", at byte " + std::to_string(error.offset) +
         ": " + error.reason;
}

DelimitedReader::DelimitedReader(ZeroCopyInputStream* input, const DelimitedReadOptions& options)
    : input_(input), options_(options) {
  options_.max_record_bytes = std::min(options_.max_record_bytes, kMostMessageBytes);
}

DelimitedStatus DelimitedReader::Read(Message* message) {
  message->Clear();
  std::uint64_t length = 0;
  DelimitedStatus status = ReadRecord(&length);
  if (status != DelimitedStatus::kRecord) return status;

  const std::uint64_t start = position_ - length;
  if (const auto fault = Parse(record_, {kMostMessageBytes, options_.max_depth}, message)) {
    status = Fail(DelimitedStatus::kCorruptRecord, start + fault->offset,
                  (fault->path.empty() ? "" : "in " + fault->path + ", ") + fault->reason);
  }
  ++records_;
  return status;
}

DelimitedStatus DelimitedReader::Read(std::string_view* bytes) {
  *bytes = {};
  std::uint64_t length = 0;
  const DelimitedStatus status = ReadRecord(&length);
  if (status != DelimitedStatus::kRecord) return status;
  *bytes = record_;
  ++records_;
  return status;
}

DelimitedStatus DelimitedReader::ReadRecord(std::uint64_t* length) {
  if (final_) return *final_;
  if (ReadInPlace(length)) return DelimitedStatus::kRecord;
  DelimitedStatus status = ReadLength(length);
  if (status == DelimitedStatus::kRecord) status = ReadBytes(*length);
  if (status != DelimitedStatus::kRecord && status != DelimitedStatus::kEnd) final_ = status;
  return status;
}

// Reads a record that lies in one block with its length; takes nothing when there is none.
bool DelimitedReader::ReadInPlace(std::uint64_t* length) {
  const void* data = nullptr;
  int size = 0;
  if (!input_->Next(&data, &size)) return false;
  const char* const start = static_cast<const char*>(data);
  const char* const end = start + size;
  std::uint32_t bytes = 0;
  const char* const p = View::ReadLength(start, end, &bytes);
  if (p == nullptr || bytes > options_.max_record_bytes) {
    input_->BackUp(size);
    return false;
  }
  *length = bytes;
  record_ = {p, bytes};
  const char* const behind = p + bytes;
  position_ += static_cast<std::uint64_t>(behind - start);
  input_->BackUp(static_cast<int>(end - behind));
  return true;
}

DelimitedStatus DelimitedReader::ReadLength(std::uint64_t* length) {
  const std::uint64_t start = position_;
  RecordLength::State state = RecordLength::State::kUnfinished;
  RecordLength announced;
  while (state == RecordLength::State::kUnfinished) {
    std::uint8_t byte = 0;
    if (!TakeByte(input_, &byte)) {
      if (announced.size() == 0) return DelimitedStatus::kEnd;
      return Fail(DelimitedStatus::kTruncated, start, EndsInsideLength());
    }
    ++position_;
    state = announced.Add(byte);
  }
  if (state == RecordLength::State::kInvalid) {
    return Fail(DelimitedStatus::kCorruptLength, start, IsNoLength());
  }
  *length = announced.value();
  if (*length <= options_.max_record_bytes) return DelimitedStatus::kRecord;
  return Fail(DelimitedStatus::kTooLong, start,
              IsTooLong("record", *length, options_.max_record_bytes));
}

DelimitedStatus DelimitedReader::ReadBytes(std::uint64_t length) {
  bytes_.clear();
  while (bytes_.size() < length) {
    const void* data = nullptr;
    int size = 0;
    if (!input_->Next(&data, &size)) {
      return Fail(DelimitedStatus::kTruncated, position_,
                  EndsInsideRecord(length - bytes_.size(), length));
    }
    const auto wanted = std::min(static_cast<std::uint64_t>(size), length - bytes_.size());
    bytes_.append(static_cast<const char*>(data), wanted);
    position_ += wanted;
    input_->BackUp(size - static_cast<int>(wanted));
  }
  record_ = bytes_;
  return DelimitedStatus::kRecord;
}

DelimitedStatus DelimitedReader::Fail(DelimitedStatus status, std::uint64_t offset,
                                      std::string reason) {
  error_ = {records_, offset, std::move(reason)};
  return status;
}

std::optional<std::string> WriteDelimited(const Message& message, ZeroCopyOutputStream* output,
                                          std::uint64_t max_record_bytes) {
  if (auto why = TooLong(message.ByteSizeLong(), max_record_bytes)) return why;
  if (!google::protobuf::util::SerializeDelimitedToZeroCopyStream(message, output)) {
    return "the output cannot be written";
  }
  return std::nullopt;
}

std::optional<std::string> WriteDelimited(std::string_view bytes, ZeroCopyOutputStream* output,
                                          std::uint64_t max_record_bytes) {
  if (auto why = TooLong(bytes.size(), max_record_bytes)) return why;
  google::protobuf::io::CodedOutputStream coded(output);
  coded.WriteVarint32(static_cast<std::uint32_t>(bytes.size()));
  coded.WriteRaw(bytes.data(), static_cast<int>(bytes.size()));
  coded.Trim();
  if (coded.HadError()) return "the output cannot be written";
  return std::nullopt;
}

}  // namespace CmnSys::Util
