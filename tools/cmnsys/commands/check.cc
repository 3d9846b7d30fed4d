#include "CmnSys/Util/Check.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
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
#include "pipeline/batches.h"
#include "pipeline/messages.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

struct CheckCommandOptions {
  std::string type;
  std::vector<std::string> paths = {"-"};
  Format from = Format::kAuto;
  InputOptions input;  // The limits; the path is that of each input in turn.
  JsonOptions json;
  std::size_t max_violations = Util::CheckOptions().max_violations;
  std::size_t jobs = DefaultJobs();
};

std::string Line(const Util::Violation& violation) {
  const std::string path = violation.path.empty() ? "." : violation.path;
  return Painted(Colour::kBold, path, STDOUT_FILENO) + ": " +
         Painted(Colour::kRed, Util::RuleName(violation.rule), STDOUT_FILENO) + ": " +
         violation.sentence + "\n";
}

// The violations of some messages.
struct Violations {
  struct Record {
    std::uint64_t index = 0;  // Among those messages.
    std::vector<Util::Violation> violations;
  };

  std::uint64_t messages = 0;
  std::vector<Record> records;  // Those with violations.
  std::size_t count = 0;
  std::size_t text_bytes = 0;

  std::size_t bytes() const { return text_bytes; }
  void Clear() { *this = {}; }
};

// Checks the messages of one input.
class Checker {
 public:
  Checker(const CheckCommandOptions& options, const InputOptions& input, RecordLines* lines)
      : options_(options), input_(input), lines_(*lines) {}

  // Returns whether there is no violation.
  bool Run(MessageSource* source, const Message& prototype) {
    Progress progress(input_.path);
    MessageWork<Violations> work;
    work.in_order = [this](const Message& message) {
      lines_.Begin(record_);
      ++record_;
      return Report(Check(message, count_));
    };
    work.apart = [this](const Message& message, Violations* found) {
      Add(Check(message, found->count), found);
      return true;
    };
    work.join = [this](Violations* found) { return Report(*found); };
    ForEachMessage(source, prototype, &progress, work).Run(options_.jobs);
    return count_ == 0;
  }

 private:
  // `count` violations have been found before.
  std::vector<Util::Violation> Check(const Message& message, std::size_t count) const {
    Util::CheckOptions check;
    check.max_depth = input_.max_depth;
    check.max_violations =
        options_.max_violations - count + 1;  // One more tells that there is more.
    return Util::Check(message, check);
  }

  static void Add(std::vector<Util::Violation> violations, Violations* found) {
    if (!violations.empty()) {
      found->count += violations.size();
      for (const Util::Violation& violation : violations) {
        found->text_bytes += sizeof violation + violation.path.size() + violation.sentence.size();
      }
      found->records.push_back({found->messages, std::move(violations)});
    }
    ++found->messages;
  }

  // Returns false when there are more than are wanted.
  bool Report(const std::vector<Util::Violation>& violations) {
    for (const Util::Violation& violation : violations) {
      if (count_ == options_.max_violations) {
        PrintError("stopped checking " + input_.Name() + " after " + std::to_string(count_) +
                   " violations; --max-violations sets the limit");
        return false;
      }
      lines_.Write(Line(violation));
      ++count_;
    }
    return true;
  }

  bool Report(const Violations& found) {
    for (const Violations::Record& record : found.records) {
      lines_.Begin(record_ + record.index);
      if (!Report(record.violations)) return false;
    }
    record_ += found.messages;
    if (found.messages > 0) lines_.Begin(record_ - 1);
    return true;
  }

  const CheckCommandOptions& options_;
  const InputOptions& input_;
  RecordLines& lines_;
  std::uint64_t record_ = 0;
  std::size_t count_ = 0;
};

bool CheckInput(const CheckCommandOptions& options, const InputOptions& input,
                const Message& prototype, Output* output) {
  const auto source = OpenSource(input, options.from, options.json);
  RecordLines lines(options.paths.size() > 1 ? input.Name() + ": " : "", source->is_stream(),
                    output);
  try {
    const bool passed = Checker(options, input, &lines).Run(source.get(), prototype);
    lines.Finish();
    return passed;
  } catch (const Failure&) {
    lines.Finish();
    throw;
  }
}

void CheckAll(const CheckCommandOptions& options) {
  const std::unique_ptr<Message> message = NewMessage(options.type);
  Output output({}, OutputKind::kText);
  ExitStatus status = ExitStatus::kDone;
  for (const std::string& path : options.paths) {
    InputOptions input = options.input;
    input.path = path;
    try {
      if (!CheckInput(options, input, *message, &output)) {
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

void AddCheckCommand(Command program) {
  auto options = std::make_shared<CheckCommandOptions>();
  Command command = program.AddCommand(
      "check", "Check that payloads match the selectors that name them, as receivers expect");
  command.Add("TYPE", &options->type, "Message type, for example Pb.CmnSys.Events.Event")
      .Required();
  command.Add("INPUT", &options->paths, "Files to read; - is standard input").ShowDefault();
  AddFormat(command, "-f,--from", &options->from, "Format of the inputs");
  AddLimits(command, &options->input);
  command.Add("--max-violations", &options->max_violations, "Stop after so many")
      .Within(1, 1000000)
      .ValueName("COUNT")
      .ShowDefault();
  AddJobs(command, &options->jobs);
  command.Footer(
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
  command.Action([options] { CheckAll(*options); });
}

}  // namespace CmnSys::Tool
