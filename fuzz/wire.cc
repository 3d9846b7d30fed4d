// Bytes read as a message of any type.
//
// Parse accepts what protobuf's own parse function accepts and nothing else, FindWireFault agrees
// and points into the bytes, and the message comes back from its JSON unchanged unless the writer
// names what JSON cannot hold.

#include "CmnSys/Util/Json.h"
#include "CmnSys/Util/Parse.h"
#include "messages.h"

namespace CmnSys::Fuzz {
namespace {

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) return;
  const auto message = split.New();
  const auto expected = split.New();
  const bool is_message =
      expected->ParsePartialFromArray(split.content.data(), static_cast<int>(split.content.size()));
  const auto fault = Util::Parse(split.content, {}, message.get());
  const auto found = Util::FindWireFault(*message->GetDescriptor(), split.content);
  Expect(fault.has_value() != is_message, "Parse and protobuf agree");
  Expect(found.has_value() == fault.has_value(), "Parse and FindWireFault agree");
  if (fault) {
    Expect(fault->offset <= split.content.size(), "the fault lies in the bytes");
    Expect(ToString(*fault) == ToString(*found), "Parse and FindWireFault find the same");
    return;
  }
  Expect(Bytes(*message) == Bytes(*expected), "Parse makes the message that protobuf makes");

  Util::JsonWriteOptions options;
  std::string json;
  std::size_t losses = 0;
  options.on_loss = [&](const Util::JsonLoss&) { ++losses; };
  Expect(!Util::WriteJson(*message, options, &json), "JSON can be written");
  options.on_loss = nullptr;
  std::string strict;
  Expect(Util::WriteJson(*message, options, &strict).has_value() == (losses > 0),
         "losses and errors are the same");
  const auto back = split.New();
  if (const auto error = Util::ReadJson(json, {}, back.get())) {
    Expect(false, ToString(*error) + " in\n" + json);
  }
  std::string again;
  Expect(!Util::WriteJson(*back, options, &again) && again == json, "the second JSON is the first");
  if (losses == 0) Expect(again == strict, "without losses both JSON are the same");
}

const Registration kRegistration({"wire", Run, WireSeeds, MutateWire});

}  // namespace
}  // namespace CmnSys::Fuzz
