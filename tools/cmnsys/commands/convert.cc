// The commands convert, and encode and decode, which are convert with the formats given.

#include <google/protobuf/message.h>

#include <cstddef>
#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/options.h"
#include "formats/message_stream.h"
#include "formats/printed.h"
#include "io/progress.h"
#include "pipeline/batches.h"
#include "pipeline/messages.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

struct ConvertOptions {
  std::string type;
  Format from = Format::kAuto;
  Format to = Format::kAuto;
  InputOptions input;
  OutputOptions output;
  JsonOptions json;
  std::size_t jobs = DefaultJobs();
};

void Convert(ConvertOptions& options) {
  const std::unique_ptr<Message> message = NewMessage(options.type);
  options.json.write.max_depth = options.input.max_depth;
  const auto source = OpenSource(options.input, options.from, options.json);
  const auto sink = OpenSink(options.output, options.to, options.json);
  Progress progress(options.input.path);
  MessageWork<Printed> work;
  work.in_order = [&sink](const Message& next) {
    sink->Write(next);
    return true;
  };
  work.apart = [&sink](const Message& next, Printed* printed) { return printed->Add(*sink, next); };
  work.join = [&sink](Printed* printed) {
    sink->WritePrinted(printed->text(), printed->ends());
    return true;
  };
  ForEachMessage(source.get(), *message, &progress, work)
      .Run(sink->prints_apart() ? options.jobs : 1);
  sink->Finish();
}

// Adds a command that converts between two formats, which AddFormat may yet change.
Command AddConversion(Command program, const std::string& name, const std::string& description,
                      const std::shared_ptr<ConvertOptions>& options) {
  Command command = program.AddCommand(name, description);
  AddTypeArgument(command, &options->type);
  AddInput(command, &options->input);
  AddOutput(command, &options->output);
  AddJobs(command, &options->jobs);
  command.Action([options] { Convert(*options); });
  return command;
}

// The same for two formats that do not change.
void AddConversion(Command program, const std::string& name, const std::string& description,
                   Format from, Format to, const std::string& footer) {
  auto options = std::make_shared<ConvertOptions>();
  options->from = from;
  options->to = to;
  AddConversion(program, name, description, options).Footer(footer);
}

}  // namespace

void AddConvertCommand(Command program) {
  auto options = std::make_shared<ConvertOptions>();
  Command command = AddConversion(
      program, "convert",
      "Turn messages from one format into another: wire bytes, streams, text, JSON, hex", options);
  AddFormat(command, "-f,--from", &options->from, "Format of the input");
  AddFormat(command, "-t,--to", &options->to,
            "Format of the output; auto is json on standard output");
  AddJson(command, &options->json);
  command.Footer(std::string(kFormatHelp) +
                 "\n"
                 "\n"
                 "A stream of any length is converted in the memory that its longest message "
                 "takes, besides some 5 MB for each of --jobs; --max-bytes limits each message, "
                 "and dumps as a whole.\n"
                 "\n"
                 "Examples:\n"
                 "  cmnsys convert Gid gid.bin\n"
                 "  cmnsys convert Event events.delimited --to jsonl | grep DOOR\n"
                 "  cmnsys convert Event events.jsonl --output events.delimited\n"
                 "  echo '0a 02 01 02 38 02' | cmnsys convert Gid --from hex --to text");
}

void AddEncodeCommand(Command program) {
  AddConversion(program, "encode", "Turn a message in text format into its wire bytes",
                Format::kText, Format::kBinary,
                "The text format is protobuf's own: "
                "https://protobuf.dev/reference/protobuf/textformat-spec/\n"
                "The same as \"cmnsys convert --from text --to binary\".\n"
                "\n"
                "Examples:\n"
                "  cmnsys encode Pb.CmnSys.Gid gid.txt --output gid.bin\n"
                "  echo 'id: \"\\001\\002\" type: GID_TYPE_SERVER' | cmnsys encode Gid | "
                "od -A d -t x1z");
}

void AddDecodeCommand(Command program) {
  AddConversion(program, "decode", "Show the wire bytes of a message in text format",
                Format::kBinary, Format::kText,
                "Fields that the type does not know are shown by number; encode does not read "
                "those.\n"
                "The same as \"cmnsys convert --from binary --to text\".\n"
                "\n"
                "Examples:\n"
                "  cmnsys decode Pb.CmnSys.Gid gid.bin\n"
                "  printf '\\012\\002\\001\\002\\070\\002' | cmnsys decode Gid");
}

}  // namespace CmnSys::Tool
