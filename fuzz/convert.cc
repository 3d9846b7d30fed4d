// Messages written in each format and read again, through files as cmnsys has them.
//
// Along a chain of all formats the messages stay what they are. Only text and JSON may refuse, for
// what they cannot hold, and binary for more than one.

#include <algorithm>

#include "formats/message_stream.h"
#include "io/failure.h"
#include "messages.h"
#include "support/files.h"

namespace CmnSys::Fuzz {

using Tool::Format;

namespace {

using Records = std::vector<std::string>;

// Writes the records and reads them again.
Records Pass(const google::protobuf::Message& type, const Records& records, Format format) {
  static const Test::TemporaryFolder folder;
  const Tool::JsonOptions json;
  Tool::OutputOptions output;
  output.path = folder.PathOf("messages");
  const std::unique_ptr<google::protobuf::Message> message(type.New());
  {
    const auto sink = Tool::OpenSink(output, format, json);
    for (const std::string& record : records) {
      message->ParsePartialFromString(record);
      sink->Write(*message);
    }
    sink->Finish();
  }
  Tool::InputOptions input;
  input.path = output.path;
  const auto source = Tool::OpenSource(input, format, json);
  Records result;
  while (source->Next(message.get())) result.push_back(Bytes(*message));
  return result;
}

// Whether text and JSON can hold the message: no unknown field anywhere, and strings in UTF-8.
bool IsPlain(const google::protobuf::Message& message) {
  std::string json;
  return !Util::WriteJson(message, {}, &json);
}

// The bytes of a record as one that reads it writes them. JSON and text have one NaN, bytes have
// more.
std::string Normal(const google::protobuf::Message& type, const std::string& record) {
  const std::unique_ptr<google::protobuf::Message> message(type.New());
  const std::unique_ptr<google::protobuf::Message> back(type.New());
  message->ParsePartialFromString(record);
  std::string json;
  const bool lossless =
      !Util::WriteJson(*message, {}, &json) && !Util::ReadJson(json, {}, back.get());
  return Bytes(lossless ? *back : *message);
}

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) return;
  const auto message = split.New();
  if (!kWireForm.read(split.content, message.get())) return;
  Random random(split.content.size());
  Records records;
  bool plain = true;
  for (auto count = random() % 4; count > 0; --count) {
    plain = plain && IsPlain(*message);
    records.push_back(Normal(*message, Bytes(*message)));
    if (random() % 2 == 0) message->Clear();
    MutateMessage(message.get(), &random);
  }
  std::vector<Format> formats = {Format::kBinary,      Format::kDelimited, Format::kText,
                                 Format::kJson,        Format::kJsonLines, Format::kHex,
                                 Format::kDelimitedHex};
  std::shuffle(formats.begin(), formats.end(), random);
  for (const Format format : formats) {
    const bool single = format == Format::kBinary;
    const bool worded =
        format == Format::kText || format == Format::kJson || format == Format::kJsonLines;
    try {
      const Records back = Pass(*message, records, format);
      Expect(back == records, "format " + std::to_string(static_cast<int>(format)) +
                                  " gives the same " + std::to_string(records.size()) +
                                  " messages and not " + std::to_string(back.size()));
    } catch (const Tool::Failure& failure) {
      Expect((single && records.size() != 1) || (worded && !plain) ||
                 (format == Format::kHex && records.empty()),
             failure.what());
    }
  }
}

const Registration kRegistration({"convert", Run, WireSeeds, MutateWire});

}  // namespace
}  // namespace CmnSys::Fuzz
