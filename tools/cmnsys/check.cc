#include "CmnSys/Util/Check.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "input.h"
#include "message_type.h"
#include "output.h"
#include "parse.h"

namespace CmnSys::Tool {
namespace {

struct CheckCommandOptions {
  std::string type;
  std::vector<std::string> paths = {"-"};
  std::string from = "binary";
  InputOptions input;  // The limits; the path is that of each input in turn.
  std::size_t max_violations = Util::CheckOptions().max_violations;
};

// Reads one input into the message and prints its violations. Returns whether there is none.
bool CheckInput(const CheckCommandOptions& options, const InputOptions& input,
                google::protobuf::Message* message) {
  const std::string bytes = ReadInput(input);
  if (options.from == "text") {
    ParseText(bytes, input, message);
  } else {
    ParseBinary(bytes, input, message);
  }

  Util::CheckOptions check;
  check.max_depth = input.max_depth;
  check.max_violations = options.max_violations + 1;  // One more tells whether the limit cuts.
  std::vector<Util::Violation> violations = Util::Check(*message, check);
  const bool cut = violations.size() > options.max_violations;
  if (cut) violations.pop_back();

  const std::string prefix = options.paths.size() > 1 ? input.Name() + ": " : "";
  std::string text;
  for (const Util::Violation& violation : violations) {
    text += prefix + (violation.path.empty() ? "." : violation.path) + ": " +
            std::string(Util::RuleName(violation.rule)) + ": " + violation.sentence + "\n";
  }
  WriteOutput({}, text, OutputKind::kText);
  if (cut) {
    std::cerr << "cmnsys: stopped checking " << input.Name() << " after " << violations.size()
              << " violations; --max-violations sets the limit\n";
  }
  return violations.empty();
}

void CheckAll(const CheckCommandOptions& options) {
  const std::unique_ptr<google::protobuf::Message> message = NewMessage(options.type);
  bool passed = true;
  for (const std::string& path : options.paths) {
    InputOptions input = options.input;
    input.path = path;
    try {
      passed = CheckInput(options, input, message.get()) && passed;
    } catch (const Failure& failure) {
      if (options.paths.size() == 1) throw;
      std::cerr << "cmnsys: " << failure.what() << '\n';
      passed = false;
    }
  }
  if (!passed) throw NegativeResult();
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
  command->add_option("-f,--from", options->from, "Format of the input")
      ->check(CLI::IsMember({"binary", "text"}))
      ->capture_default_str();
  options->input.AddLimitsTo(command);
  command->add_option("--max-violations", options->max_violations, "Stop after so many")
      ->check(CLI::Range(1, 1000000))
      ->type_name("COUNT")
      ->capture_default_str();
  command->footer(
      "Prints one violation a line: PATH: RULE: what is wrong. The path . is the message itself;\n"
      "with several inputs, the name of the input stands in front.\n"
      "\n"
      "Exit status: 0 no violation; 1 violations, or input that cannot be read or parsed.\n"
      "\n"
      "Examples:\n"
      "  cmnsys check Pb.CmnSys.Events.Event event.bin\n"
      "  echo 'type: IOTA_TYPE_U32 iota_bool {}' | cmnsys check Iota --from text\n"
      "  cmnsys check NotificationList captured/*.bin | grep extension-mismatch");
  command->callback([options] { CheckAll(*options); });
}

}  // namespace CmnSys::Tool
