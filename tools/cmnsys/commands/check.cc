#include "CmnSys/Util/Check.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/options.h"
#include "formats/message_stream.h"
#include "io/colour.h"
#include "io/failure.h"
#include "io/input.h"
#include "io/output.h"
#include "io/progress.h"
#include "io/record_lines.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {
namespace {

struct CheckCommandOptions {
  std::string type;
  std::vector<std::string> paths = {"-"};
  Format from = Format::kAuto;
  InputOptions input;  // The limits; the path is that of each input in turn.
  JsonOptions json;
  std::size_t max_violations = Util::CheckOptions().max_violations;
};

std::string Line(const Util::Violation& violation) {
  const std::string path = violation.path.empty() ? "." : violation.path;
  return Painted(Colour::kBold, path, STDOUT_FILENO) + ": " +
         Painted(Colour::kRed, Util::RuleName(violation.rule), STDOUT_FILENO) + ": " +
         violation.sentence + "\n";
}

// Reads the messages of one input into `message`, one after the other, and writes their violations.
// Returns whether there is none.
bool CheckRecords(const CheckCommandOptions& options, const InputOptions& input,
                  MessageSource* source, google::protobuf::Message* message, RecordLines* lines) {
  Progress progress(input.path);
  std::size_t count = 0;
  for (std::uint64_t record = 0; source->Next(message); ++record) {
    lines->Begin(record);
    Util::CheckOptions check;
    check.max_depth = input.max_depth;
    check.max_violations =
        options.max_violations - count + 1;  // One more tells that there is more.
    for (const Util::Violation& violation : Util::Check(*message, check)) {
      if (count == options.max_violations) {
        PrintError("stopped checking " + input.Name() + " after " + std::to_string(count) +
                   " violations; --max-violations sets the limit");
        return false;
      }
      lines->Write(Line(violation));
      ++count;
    }
    progress.Update(source->position());
  }
  return count == 0;
}

bool CheckInput(const CheckCommandOptions& options, const InputOptions& input,
                google::protobuf::Message* message, Output* output) {
  const auto source = OpenSource(input, options.from, options.json);
  RecordLines lines(options.paths.size() > 1 ? input.Name() + ": " : "", source->is_stream(),
                    output);
  try {
    const bool passed = CheckRecords(options, input, source.get(), message, &lines);
    lines.Finish();
    return passed;
  } catch (const Failure&) {
    lines.Finish();
    throw;
  }
}

void CheckAll(const CheckCommandOptions& options) {
  const std::unique_ptr<google::protobuf::Message> message = NewMessage(options.type);
  Output output({}, OutputKind::kText);
  ExitStatus status = ExitStatus::kDone;
  for (const std::string& path : options.paths) {
    InputOptions input = options.input;
    input.path = path;
    try {
      if (!CheckInput(options, input, message.get(), &output)) {
        status = std::max(status, ExitStatus::kNo);
      }
    } catch (const Failure& failure) {
      PrintError(failure.what());
      status = ExitStatus::kTrouble;
    }
  }
  output.Finish();
  if (status != ExitStatus::kDone) throw Ended(status);
}

}  // namespace

void AddCheckCommand(CLI::App* app) {
  auto options = std::make_shared<CheckCommandOptions>();
  CLI::App* command = app->add_subcommand(
      "check", "Check that payloads match the selectors that name them, as receivers expect");
  command->add_option("TYPE", options->type, "Message type, for example Pb.CmnSys.Events.Event")
      ->required();
  command->add_option("INPUT", options->paths, "Files to read; - is standard input")
      ->capture_default_str();
  AddFormat(command, "-f,--from", &options->from, "Format of the inputs");
  AddLimits(command, &options->input);
  TakeWithin(command->add_option("--max-violations", options->max_violations, "Stop after so many"),
             1, 1000000)
      ->type_name("COUNT")
      ->capture_default_str();
  command->footer(
      "Prints one violation a line: PATH: RULE: what is wrong. The path . is the message itself.\n"
      "With several inputs, the name of the input stands in front; in a stream, the number of the "
      "record too, counted from 0. \"cmnsys convert --help\" explains the formats.\n"
      "\n"
      "Exit status: 0 no violation; 1 violations; 2 input that cannot be read or parsed.\n"
      "\n"
      "Examples:\n"
      "  cmnsys check Pb.CmnSys.Events.Event event.bin\n"
      "  echo 'type: IOTA_TYPE_U32 iota_bool {}' | cmnsys check Iota --from text\n"
      "  cmnsys check Notification captured/*.delimited | grep extension-mismatch");
  command->callback([options] { CheckAll(*options); });
}

}  // namespace CmnSys::Tool
