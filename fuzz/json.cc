// Text read as JSON of a message of any type.
//
// Read as a whole and in blocks of a few bytes it gives the same message or the same error; what
// was read comes back from its own JSON in every style.

#include "CmnSys/Util/Json.h"

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include "messages.h"

namespace CmnSys::Fuzz {

using google::protobuf::Message;

namespace {

bool Read(std::string_view content, Message* message) {
  return !Util::ReadJson(content, {}, message);
}

std::string Write(const Message& message) {
  std::string json;
  Util::JsonWriteOptions options;
  options.on_loss = [](const Util::JsonLoss&) {};
  options.indent = 0;
  return Util::WriteJson(message, options, &json) ? "" : json;
}

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) return;
  const auto message = split.New();
  const auto error = Util::ReadJson(split.content, {}, message.get());
  for (const int block : {1, 7}) {
    google::protobuf::io::ArrayInputStream stream(split.content.data(),
                                                  static_cast<int>(split.content.size()), block);
    Util::JsonReader reader(&stream);
    const auto first = split.New();
    const auto status = reader.Read(first.get());
    if (error) {
      // A stream may go on behind the value, and may be empty.
      if (status != Util::JsonReader::Status::kError) continue;
      Expect(ToString(reader.error()) == ToString(*error), "blocks give the same error");
      continue;
    }
    Expect(status == Util::JsonReader::Status::kMessage, "blocks give a message");
    Expect(Bytes(*first) == Bytes(*message), "blocks give the same message");
    Expect(reader.Read(first.get()) == Util::JsonReader::Status::kEnd, "nothing follows");
  }
  if (error) {
    Expect(error->offset <= split.content.size(), "the error lies in the text");
    Expect(message->ByteSizeLong() == 0, "after an error the message is empty");
    return;
  }
  for (const bool plain : {true, false}) {
    Util::JsonWriteOptions options;
    options.schema_names = options.enums_as_numbers = !plain;
    options.bytes = plain ? Util::JsonBytes::kBase64 : Util::JsonBytes::kHexadecimal;
    options.indent = plain ? 2 : 0;
    Util::JsonReadOptions reading;
    reading.bytes = options.bytes;
    std::string json;
    Expect(!Util::WriteJson(*message, options, &json), "what was read can be written");
    const auto back = split.New();
    Expect(!Util::ReadJson(json, reading, back.get()), "what was written can be read: " + json);
    std::string again;
    Expect(!Util::WriteJson(*back, options, &again) && again == json, "and is the same");
  }
}

std::vector<std::string> Seeds() { return MessageSeeds({Read, Write}); }

std::string Mutate(std::string_view input, Random* random) {
  return MutateInput({Read, Write}, input, random);
}

const Registration kRegistration({"json", Run, Seeds, Mutate});

}  // namespace
}  // namespace CmnSys::Fuzz
