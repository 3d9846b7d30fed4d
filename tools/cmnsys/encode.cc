#include <memory>
#include <string>

#include "commands.h"
#include "input.h"
#include "message_type.h"
#include "output.h"
#include "parse.h"

namespace CmnSys::Tool {

namespace {

struct EncodeOptions {
  std::string type;
  InputOptions input;
  OutputOptions output;
};

void Encode(const EncodeOptions& options) {
  const std::unique_ptr<google::protobuf::Message> message = NewMessage(options.type);
  const std::string text = ReadInput(options.input);
  ParseText(text, options.input, message.get());
  WriteOutput(options.output, message->SerializeAsString(), OutputKind::kBinary);
}

}  // namespace

void AddEncodeCommand(CLI::App* app) {
  auto options = std::make_shared<EncodeOptions>();
  CLI::App* command =
      app->add_subcommand("encode", "Turn a message in text format into its wire bytes");
  command->add_option("TYPE", options->type, "Message type, for example Pb.CmnSys.Gid or Gid")
      ->required();
  options->input.AddTo(command);
  options->output.AddTo(command);
  command->footer(
      "The text format is protobuf's own: "
      "https://protobuf.dev/reference/protobuf/textformat-spec/\n"
      "\n"
      "Examples:\n"
      "  cmnsys encode Pb.CmnSys.Gid gid.txt --output gid.bin\n"
      "  echo 'id: \"\\001\\002\" type: GID_TYPE_SERVER' | cmnsys encode Gid | od -A d -t x1z");
  command->callback([options] { Encode(*options); });
}

}  // namespace CmnSys::Tool
