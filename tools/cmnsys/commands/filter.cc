#include <google/protobuf/message.h>

#include <memory>
#include <optional>
#include <string>

#include "CmnSys/Util/Parse.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "filter/expression.h"
#include "filter/matcher.h"
#include "formats/delimited_bytes.h"
#include "formats/message_stream.h"
#include "io/failure.h"
#include "io/output.h"
#include "io/progress.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

struct FilterOptions {
  std::string type;
  InputOptions input;
  std::string where;
  Format from = Format::kAuto;
  Format to = Format::kAuto;
  OutputOptions output;
  JsonOptions json;
  bool count = false;
  bool invert = false;
  std::uint64_t limit = UINT64_MAX;
};

// Where selected messages go, in another form than that of their bytes.
class Selected {
 public:
  Selected(const OutputOptions& output, Format format, const JsonOptions& json)
      : sink_(OpenSink(output, format, json)),
        takes_none_(format != Format::kBinary && format != Format::kHex) {}

  void Write(const Message& message) {
    sink_->Write(message);
    any_ = true;
  }

  // No file appears where it would have to hold a message.
  void Finish() {
    if (any_ || takes_none_) sink_->Finish();
  }

 private:
  std::unique_ptr<MessageSink> sink_;
  bool takes_none_;
  bool any_ = false;
};

class Filter {
 public:
  explicit Filter(const FilterOptions& options)
      : options_(options),
        message_(NewMessage(options.type)),
        matcher_(ParseExpression(options.where, *message_->GetDescriptor())),
        from_(ResolveFormat(options.from, options.input.path, Format::kDelimited)),
        to_(ResolveFormat(options.to, options.output.path, from_)) {}

  void Run() {
    if (from_ != Format::kDelimited) {
      SelectMessages();
    } else if (options_.count || to_ == Format::kDelimited) {
      SelectBytes();
    } else {
      SelectFromBytes();
    }
    if (options_.count) {
      WriteOutput(options_.output, std::to_string(selected_) + "\n", OutputKind::kText);
    }
    if (selected_ == 0) throw Ended(ExitStatus::kNo);
  }

 private:
  // Calls `take` for each record selected from bytes.
  template <typename Take>
  void ForEachSelected(Take take) {
    DelimitedBytes records(options_.input);
    Progress progress(options_.input.path);
    while (selected_ < options_.limit && records.Next()) {
      const std::optional<bool> matches = matcher_.Matches(records.message());
      if (!matches) FailInRecord(records);
      progress.Update(records.position());
      if (*matches == options_.invert) continue;
      ++selected_;
      take(records);
    }
  }

  void SelectBytes() {
    if (options_.count) {
      ForEachSelected([](const DelimitedBytes&) {});
      return;
    }
    Output output(options_.output, OutputKind::kBinary);
    ForEachSelected([&](const DelimitedBytes& records) { output.Write(records.delimited()); });
    output.Finish();
  }

  void SelectFromBytes() {
    Selected selected(options_.output, to_, options_.json);
    ForEachSelected([&](const DelimitedBytes& records) {
      Util::ParseLimits limits;
      limits.max_depth = options_.input.max_depth;
      const auto fault = Util::Parse(records.message(), limits, message_.get());
      if (fault) Fail(records, *fault);
      selected.Write(*message_);
    });
    selected.Finish();
  }

  // From formats that are read by way of messages.
  void SelectMessages() {
    std::optional<Selected> selected;
    if (!options_.count) selected.emplace(options_.output, to_, options_.json);
    const auto source = OpenSource(options_.input, from_, options_.json);
    Progress progress(options_.input.path);
    std::string bytes;
    while (selected_ < options_.limit && source->Next(message_.get())) {
      message_->SerializeToString(&bytes);
      progress.Update(source->position());
      if (matcher_.Matches(bytes) == options_.invert) continue;
      ++selected_;
      if (selected) selected->Write(*message_);
    }
    if (selected) selected->Finish();
  }

  [[noreturn]] void FailInRecord(const DelimitedBytes& records) {
    const auto fault = Util::FindWireFault(*message_->GetDescriptor(), records.message());
    Fail(records, fault.value_or(Util::WireFault{0, "", "the record is malformed"}));
  }

  [[noreturn]] static void Fail(const DelimitedBytes& records, const Util::WireFault& fault) {
    records.FailInRecord(fault.offset,
                         (fault.path.empty() ? "" : "in " + fault.path + ", ") + fault.reason);
  }

  const FilterOptions& options_;
  std::unique_ptr<Message> message_;
  Matcher matcher_;
  Format from_;
  Format to_;
  std::uint64_t selected_ = 0;
};

}  // namespace

void AddFilterCommand(CLI::App* app) {
  auto options = std::make_shared<FilterOptions>();
  CLI::App* command = app->add_subcommand(
      "filter", "Select the messages of a stream for which a condition is true");
  AddTypeArgument(command, &options->type);
  AddInput(command, &options->input);
  command->add_option("-w,--where", options->where, "The condition")
      ->type_name("CONDITION")
      ->required();
  command->add_flag("-v,--invert-match", options->invert,
                    "Select the messages for which the condition is false");
  command->add_flag("-c,--count", options->count, "Print how many are selected instead of them");
  TakeWithin(command->add_option("-n,--limit", options->limit, "Stop after so many selected ones"),
             1, UINT32_MAX)
      ->type_name("COUNT")
      ->default_str("all");
  AddFormat(command, "-f,--from", &options->from,
            "Format of the input; auto is delimited unless the ending tells another");
  AddFormat(command, "-t,--to", &options->to,
            "Format of the output; auto is by the ending, else that of the input");
  AddOutput(command, &options->output);
  AddJson(command, &options->json);
  command->footer(
      std::string(kConditionHelp) +
      "\n"
      "\n"
      "Delimited messages are read in place and copied byte for byte. Of each, only the outermost "
      "fields and the sub-messages on the paths are looked at: what is malformed there ends the "
      "command, what is malformed elsewhere in a message is not noticed. Other formats are read "
      "as by \"cmnsys convert\", whose help explains them.\n"
      "\n"
      "Exit status: 0 messages were selected; 1 none; 2 a condition that is not understood, input "
      "that cannot be read or parsed.\n"
      "\n"
      "Examples:\n"
      "  cmnsys filter Event day.delimited --where 'event_type = EVENT_DEVICE_MOTION_START'\n"
      "  cmnsys filter Event day.delimited --where 'has [event_device_motion_start] and "
      "originating_server_gid.id = \"server-1\"' --to jsonl\n"
      "  cmnsys filter EventList lists.delimited --where 'not events.timestamp < 1795165330250' "
      "--count");
  command->callback([options] { Filter(*options).Run(); });
}

}  // namespace CmnSys::Tool
