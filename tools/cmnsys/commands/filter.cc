#include <google/protobuf/message.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CmnSys/Util/Parse.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "filter/expression.h"
#include "filter/matcher.h"
#include "formats/delimited_bytes.h"
#include "formats/message_stream.h"
#include "formats/printed.h"
#include "io/failure.h"
#include "io/output.h"
#include "io/progress.h"
#include "pipeline/batches.h"
#include "pipeline/fresh_message.h"
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
  std::size_t jobs = DefaultJobs();
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

  bool prints_apart() const { return sink_->prints_apart(); }

  // Adds a message behind the first one; returns false when only Write can take it. Thread-safe for
  // distinct `printed`.
  bool Print(const Message& message, Printed* printed) const {
    return any_ && printed->Add(*sink_, message);
  }
  void Write(const Printed& printed) { sink_->WritePrinted(printed.text(), printed.ends()); }

  // No file appears where it would have to hold a message.
  void Finish() {
    if (any_ || takes_none_) sink_->Finish();
  }

 private:
  std::unique_ptr<MessageSink> sink_;
  bool takes_none_;
  std::atomic<bool> any_ = false;
};

// Selects from formats that are read by way of messages. Returns how many were selected.
std::uint64_t SelectMessages(const FilterOptions& options, Format from, Matcher* matcher,
                             const Message& prototype, Selected* selected) {
  FreshMessage message(prototype);
  const auto source = OpenSource(options.input, from, options.json);
  Progress progress(options.input.path);
  std::string bytes;
  std::uint64_t count = 0;
  while (count < options.limit && source->Next(message.Next())) {
    (*message).SerializeToString(&bytes);
    progress.Update(source->position());
    const std::optional<bool> matches = matcher->Matches(bytes);
    if (!matches) throw Failure("a message is not well-formed where the condition looks into it");
    if (*matches == options.invert) continue;
    ++count;
    if (selected != nullptr) selected->Write(*message);
  }
  return count;
}

// Selects from delimited messages by their bytes.
class RecordFilter {
 public:
  // The selected ones go to `bytes` as they are, or as messages to `selected`, or nowhere.
  RecordFilter(const FilterOptions& options, const Expression& condition, const Message& prototype,
               Output* bytes, Selected* selected)
      : options_(options),
        condition_(condition),
        prototype_(prototype),
        records_(options.input, kBlockBytes),
        progress_(options.input.path),
        bytes_(bytes),
        selected_(selected),
        own_(condition, prototype, options.input.max_depth) {}

  // Returns how many were selected.
  std::uint64_t Run() {
    const bool alone = options_.jobs == 1 || (selected_ != nullptr && !selected_->prints_apart());
    while (alone || records_.position() < kBytesBeforeThreads) {
      if (!Next()) return count_;
    }
    if (records_.PrepareInterrupt() && RunThreads() == PipelineEnd::kWriter) return count_;
    while (Next()) {
    }
    return count_;
  }

 private:
  // What a thread selects with.
  struct Worker {
    Worker(const Expression& condition, const Message& prototype, int max_depth)
        : matcher(condition, max_depth), message(prototype) {}
    Matcher matcher;
    FreshMessage message;
  };

  struct Batch {
    DelimitedBlock records;
    std::uint64_t count = 0;  // Of selected records.
    Printed printed;          // What is written of them.

    std::size_t bytes() const { return records.capacity() + printed.bytes(); }
    void Release() {
      records.Release();
      count = 0;
      printed.Clear();
    }
  };

  bool Next() {
    if (!records_.Next()) return false;
    progress_.Update(records_.position());
    return InOrder(records_.record());
  }

  bool InOrder(const DelimitedBlock& record) {
    const std::optional<bool> matches = own_.matcher.Matches(record.message());
    if (!matches) FailInRecord(record);
    if (*matches == options_.invert) return true;
    ++count_;
    if (bytes_ != nullptr) bytes_->Write(record.delimited());
    if (selected_ != nullptr) {
      if (const auto fault = Parse(record, own_.message.Next())) Fail(record, *fault);
      selected_->Write(*own_.message);
    }
    return count_ < options_.limit;
  }

  PipelineEnd RunThreads() {
    std::vector<std::unique_ptr<Worker>> workers(options_.jobs);
    for (auto& worker : workers)
      worker = std::make_unique<Worker>(condition_, prototype_, options_.input.max_depth);
    std::vector<Batch> batches(PipelineSlots(options_.jobs));
    return RunBatches(
        options_.jobs, &batches,
        [this](Batch* batch) { return records_.Take(kBatchRecords, &batch->records); },
        [this, &workers](Batch* batch, std::size_t worker) { Work(workers[worker].get(), batch); },
        [this](Batch* batch) { return Join(batch); }, [this] { records_.Interrupt(); });
  }

  // Does what can be done apart; the block then stands at the first record that is left.
  void Work(Worker* worker, Batch* batch) const {
    DelimitedBlock& records = batch->records;
    while (batch->printed.bytes() < kMostResultBytes && records.Next()) {
      try {
        if (Apart(worker, batch)) continue;
      } catch (const std::exception&) {
      }
      records.Back();
      return;
    }
  }

  bool Apart(Worker* worker, Batch* batch) const {
    const DelimitedBlock& record = batch->records;
    const std::optional<bool> matches = worker->matcher.Matches(record.message());
    if (!matches) return false;
    if (*matches == options_.invert) return true;
    if (bytes_ != nullptr) batch->printed.Add(record.delimited());
    if (selected_ != nullptr) {
      if (Parse(record, worker->message.Next())) return false;
      if (!selected_->Print(*worker->message, &batch->printed)) return false;
    }
    ++batch->count;
    return true;
  }

  bool Join(Batch* batch) {
    DelimitedBlock& records = batch->records;
    if (batch->count >= options_.limit - count_) {
      records.Rewind();
    } else {
      count_ += batch->count;
      if (bytes_ != nullptr) bytes_->WritePieces(batch->printed.text(), batch->printed.ends());
      if (selected_ != nullptr) selected_->Write(batch->printed);
    }
    bool more = true;
    while (more && records.Next()) more = InOrder(records);
    progress_.Update(records.position());
    return more;
  }

  std::optional<Util::WireFault> Parse(const DelimitedBlock& record, Message* message) const {
    Util::ParseLimits limits;
    limits.max_depth = options_.input.max_depth;
    return Util::Parse(record.message(), limits, message);
  }

  [[noreturn]] void FailInRecord(const DelimitedBlock& record) const {
    const auto fault = Util::FindWireFault(*prototype_.GetDescriptor(), record.message(),
                                           options_.input.max_depth);
    Fail(record, fault.value_or(Util::WireFault{0, "", "the record is malformed"}));
  }

  [[noreturn]] void Fail(const DelimitedBlock& record, const Util::WireFault& fault) const {
    record.FailInRecord(options_.input.Name(), fault.offset,
                        (fault.path.empty() ? "" : "in " + fault.path + ", ") + fault.reason);
  }

  // Matching is quick: blocks that a thread is woken for are large, and batches as long as they
  // mostly are.
  static constexpr std::size_t kBlockBytes = std::size_t{1} << 20;
  static constexpr std::uint64_t kBatchRecords = 64 * kBatchMessages;

  const FilterOptions& options_;
  const Expression& condition_;
  const Message& prototype_;
  DelimitedBytes records_;
  Progress progress_;
  Output* bytes_;
  Selected* selected_;
  Worker own_;
  std::uint64_t count_ = 0;
};

void Filter(const FilterOptions& options) {
  const std::unique_ptr<Message> message = NewMessage(options.type);
  const Expression condition = ParseExpression(options.where, *message->GetDescriptor());
  const Format from = ResolveFormat(options.from, options.input.path, Format::kDelimited);
  const Format to = ResolveFormat(options.to, options.output.path, from);
  const bool by_bytes = from == Format::kDelimited;

  std::optional<Output> bytes;
  std::optional<Selected> selected;
  if (!options.count) {
    if (by_bytes && to == Format::kDelimited) {
      bytes.emplace(options.output, OutputKind::kBinary);
    } else {
      selected.emplace(options.output, to, options.json);
    }
  }
  std::uint64_t count = 0;
  if (by_bytes) {
    count = RecordFilter(options, condition, *message, bytes ? &*bytes : nullptr,
                         selected ? &*selected : nullptr)
                .Run();
  } else {
    Matcher matcher(condition, options.input.max_depth);
    count = SelectMessages(options, from, &matcher, *message, selected ? &*selected : nullptr);
  }
  if (bytes) bytes->Finish();
  if (selected) selected->Finish();
  if (options.count) {
    WriteOutput(options.output, std::to_string(count) + "\n", OutputKind::kText);
  }
  if (count == 0) throw Ended(ExitStatus::kNo);
}

}  // namespace

void AddFilterCommand(Command program) {
  auto options = std::make_shared<FilterOptions>();
  Command command =
      program.AddCommand("filter", "Select the messages of a stream for which a condition is true");
  AddTypeArgument(command, &options->type);
  AddInput(command, &options->input);
  command.Add("-w,--where", &options->where, "The condition").ValueName("CONDITION").Required();
  command.AddFlag("-v,--invert-match", &options->invert,
                  "Select the messages for which the condition is false");
  command.AddFlag("-c,--count", &options->count, "Print how many are selected instead of them");
  command.Add("-n,--limit", &options->limit, "Stop after so many selected ones")
      .Within(1, UINT32_MAX)
      .ValueName("COUNT")
      .ShowDefault("all");
  AddFormat(command, "-f,--from", &options->from,
            "Format of the input; auto is delimited unless the ending tells another");
  AddFormat(command, "-t,--to", &options->to,
            "Format of the output; auto is by the ending, else that of the input");
  AddOutput(command, &options->output);
  AddJobs(command, &options->jobs);
  AddJson(command, &options->json);
  command.Footer(
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
  command.Action([options] { Filter(*options); });
}

}  // namespace CmnSys::Tool
