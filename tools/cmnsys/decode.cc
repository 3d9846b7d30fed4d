#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/text_format.h>

#include <memory>
#include <optional>
#include <string>

#include "CmnSys/Util/WireFault.h"
#include "commands.h"
#include "failure.h"
#include "input.h"
#include "message_type.h"
#include "output.h"

namespace CmnSys::Tool {

using google::protobuf::Message;
using google::protobuf::io::CodedInputStream;

namespace {

struct DecodeOptions {
  std::string type;
  InputOptions input;
  OutputOptions output;
};

bool Parse(const std::string& bytes, int max_depth, Message* message) {
  CodedInputStream stream(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                          static_cast<int>(bytes.size()));
  stream.SetRecursionLimit(max_depth);
  return message->ParseFromCodedStream(&stream) && stream.ConsumedEntireMessage();
}

std::string WhyNot(const std::string& bytes, int max_depth, const Message& message) {
  const std::optional<Util::WireFault> fault =
      Util::FindWireFault(*message.GetDescriptor(), bytes, max_depth);
  if (!fault) return "the bytes are no message of this type";
  return "at byte " + std::to_string(fault->offset) +
         (fault->path.empty() ? "" : ", in " + fault->path) + ", " + fault->reason;
}

void Decode(const DecodeOptions& options) {
  const std::unique_ptr<Message> message = NewMessage(options.type);
  const std::string bytes = ReadInput(options.input);
  if (!Parse(bytes, options.input.max_depth, message.get())) {
    throw Failure(options.input.Name() + " does not hold a " + message->GetTypeName() + ": " +
                  WhyNot(bytes, options.input.max_depth, *message));
  }
  std::string text;
  if (!google::protobuf::TextFormat::PrintToString(*message, &text)) {
    throw Failure("cannot print " + options.input.Name() + " as text: out of memory");
  }
  WriteOutput(options.output, text, OutputKind::kText);
}

}  // namespace

void AddDecodeCommand(CLI::App* app) {
  auto options = std::make_shared<DecodeOptions>();
  CLI::App* command =
      app->add_subcommand("decode", "Show the wire bytes of a message in text format");
  command->add_option("TYPE", options->type, "Message type, for example Pb.CmnSys.Gid or Gid")
      ->required();
  options->input.AddTo(command);
  options->output.AddTo(command);
  command->footer(
      "Fields that the type does not know are shown by number; encode does not read those.\n"
      "\n"
      "Examples:\n"
      "  cmnsys decode Pb.CmnSys.Gid gid.bin\n"
      "  printf '\\012\\002\\001\\002\\070\\002' | cmnsys decode Gid");
  command->callback([options] { Decode(*options); });
}

}  // namespace CmnSys::Tool
