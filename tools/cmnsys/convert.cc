#include <memory>
#include <string>

#include "commands.h"
#include "input.h"
#include "message_stream.h"
#include "message_type.h"
#include "output.h"
#include "progress.h"

namespace CmnSys::Tool {
namespace {

struct ConvertOptions {
  std::string type;
  Format from = Format::kAuto;
  Format to = Format::kAuto;
  InputOptions input;
  OutputOptions output;
  JsonOptions json;
};

void Convert(ConvertOptions& options) {
  const std::unique_ptr<google::protobuf::Message> message = NewMessage(options.type);
  options.json.write.max_depth = options.input.max_depth;
  const auto source = OpenSource(options.input, options.from, options.json);
  const auto sink = OpenSink(options.output, options.to, options.json);
  Progress progress(options.input.path);
  while (source->Next(message.get())) {
    sink->Write(*message);
    progress.Update(source->position());
  }
  sink->Finish();
}

}  // namespace

void AddConvertCommand(CLI::App* app) {
  auto options = std::make_shared<ConvertOptions>();
  CLI::App* command = app->add_subcommand(
      "convert",
      "Turn messages from one format into another: wire bytes, streams, text, JSON, hex");
  command->add_option("TYPE", options->type, "Message type, for example Pb.CmnSys.Gid or Gid")
      ->required();
  options->input.AddTo(command);
  AddFormatOption(command, "-f,--from", &options->from, "Format of the input");
  AddFormatOption(command, "-t,--to", &options->to,
                  "Format of the output; auto is json on standard output");
  options->output.AddTo(command);
  options->json.AddTo(command);
  command->footer(std::string(kFormatHelp) +
                  "\n"
                  "\n"
                  "A stream of any length is converted in the memory that its longest message "
                  "takes; --max-bytes limits each message, and dumps as a whole.\n"
                  "\n"
                  "Examples:\n"
                  "  cmnsys convert Gid gid.bin\n"
                  "  cmnsys convert Event events.delimited --to json --compact | grep DOOR\n"
                  "  cmnsys convert Event events.jsonl --output events.delimited\n"
                  "  echo '0a 02 01 02 38 02' | cmnsys convert Gid --from hex --to text");
  command->callback([options] { Convert(*options); });
}

}  // namespace CmnSys::Tool
