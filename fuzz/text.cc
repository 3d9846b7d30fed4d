// Text read as the text format of a message of any type, as cmnsys does it.
//
// It is refused with a sentence, or gives a message that its own text gives again.

#include <google/protobuf/text_format.h>

#include "formats/parse.h"
#include "io/failure.h"
#include "messages.h"

namespace CmnSys::Fuzz {

using google::protobuf::Message;

namespace {

bool Read(std::string_view content, Message* message) {
  try {
    Tool::ParseText(std::string(content), {}, message);
    return true;
  } catch (const Tool::Failure& failure) {
    Expect(!std::string_view(failure.what()).empty(), "a refusal says why");
    return false;
  }
}

std::string Write(const Message& message) {
  std::string text;
  google::protobuf::TextFormat::Printer printer;
  printer.SetHideUnknownFields(true);
  printer.PrintToString(message, &text);
  return text;
}

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) return;
  const auto message = split.New();
  if (!Read(split.content, message.get())) return;
  const std::string text = Write(*message);
  const auto back = split.New();
  Expect(Read(text, back.get()), "the text of a message can be read: " + text);
  Expect(Write(*back) == text, "and gives the same text");
}

std::vector<std::string> Seeds() { return MessageSeeds({Read, Write}); }

std::string Mutate(std::string_view input, Random* random) {
  return MutateInput({Read, Write}, input, random);
}

const Registration kRegistration({"text", Run, Seeds, Mutate});

}  // namespace
}  // namespace CmnSys::Fuzz
