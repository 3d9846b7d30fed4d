#include <google/protobuf/text_format.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>

#include "colour.h"
#include "commands.h"
#include "failure.h"
#include "input.h"
#include "message_type.h"
#include "output.h"
#include "parse.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

struct DecodeOptions {
  std::string type;
  InputOptions input;
  OutputOptions output;
};

// Fields that the type does not know begin with their number.
std::string PaintUnknownFields(const std::string& text) {
  std::string result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t start = std::min(line.find_first_not_of(' '), line.size());
    const bool unknown = start < line.size() && line[start] >= '0' && line[start] <= '9';
    result += line.substr(0, start);
    line.erase(0, start);
    result += (unknown ? Painted(Colour::kYellow, line, STDOUT_FILENO) : line) + "\n";
  }
  return result;
}

void Decode(const DecodeOptions& options) {
  const std::unique_ptr<Message> message = NewMessage(options.type);
  const std::string bytes = ReadInput(options.input);
  ParseBinary(bytes, options.input, message.get());
  std::string text;
  if (!google::protobuf::TextFormat::PrintToString(*message, &text)) {
    throw Failure("cannot print " + options.input.Name() + " as text: out of memory");
  }
  if (options.output.path == "-" && HasColours(STDOUT_FILENO)) text = PaintUnknownFields(text);
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
