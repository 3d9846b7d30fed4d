#include "analysis/size.h"

#include <google/protobuf/message.h>

#include <algorithm>
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "commands/options.h"
#include "formats/message_stream.h"
#include "io/input.h"
#include "io/output.h"
#include "io/progress.h"
#include "pipeline/batches.h"
#include "pipeline/messages.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

struct SizeOptions {
  std::string type;
  Format from = Format::kAuto;
  InputOptions input;
  JsonOptions json;
  int max_depth_shown = 100;
  std::size_t limit = 1000;
  bool by_path = false;
  std::size_t jobs = DefaultJobs();
};

// Tables that threads add to, whatever messages they work on: there are about as many fields in a
// batch of messages as in all of them, so that a table for each would not pay. Thread-safe.
class Tables {
 public:
  std::unique_ptr<FieldSize> Take() {
    const std::lock_guard lock(mutex_);
    if (tables_.empty()) return std::make_unique<FieldSize>();
    std::unique_ptr<FieldSize> table = std::move(tables_.back());
    tables_.pop_back();
    return table;
  }

  void Return(std::unique_ptr<FieldSize> table) {
    const std::lock_guard lock(mutex_);
    tables_.push_back(std::move(table));
  }

  // Adds what is in the tables that have been returned.
  void MergeInto(FieldSize* all) const {
    for (const std::unique_ptr<FieldSize>& table : tables_) MergeFieldSizes(*table, all);
  }

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<FieldSize>> tables_;
};

// The fields of some messages, among others.
struct Sizes {
  std::unique_ptr<FieldSize> table;
  bool broken = false;

  static std::size_t bytes() { return 0; }
  static void Clear() {}
};

std::string Row(std::uint64_t bytes, std::uint64_t total, std::uint64_t count,
                const std::string& path) {
  char columns[80];
  std::snprintf(columns, sizeof columns, "%12" PRIu64 " %6.1f%% %10" PRIu64 "  ", bytes,
                total == 0 ? 0.0 : 100.0 * static_cast<double>(bytes) / static_cast<double>(total),
                count);
  return columns + path + "\n";
}

void Size(const SizeOptions& options) {
  const std::unique_ptr<Message> message = NewMessage(options.type);
  const auto source = OpenSource(options.input, options.from, options.json);
  FieldSize all;
  Tables tables;
  {
    Progress progress(options.input.path);
    MessageWork<Sizes> work;
    work.in_order = [&all](const Message& next) {
      AddFieldSizes(next, &all);
      return true;
    };
    work.apart = [&tables](const Message& next, Sizes* sizes) {
      if (sizes->table == nullptr) sizes->table = tables.Take();
      sizes->broken = true;  // Until all of the message has been added.
      AddFieldSizes(next, sizes->table.get());
      sizes->broken = false;
      return true;
    };
    work.join = [&tables](Sizes* sizes) {
      if (sizes->broken) throw std::bad_alloc();
      if (sizes->table != nullptr) tables.Return(std::move(sizes->table));
      return true;
    };
    ForEachMessage(source.get(), *message, &progress, work).Run(options.jobs);
  }
  tables.MergeInto(&all);

  std::size_t left_out = 0;
  std::vector<SizeRow> rows = LargestFields(all, options.max_depth_shown, options.limit, &left_out);
  if (options.by_path) {
    std::sort(rows.begin(), rows.end(),
              [](const SizeRow& a, const SizeRow& b) { return a.path < b.path; });
  }
  std::string text = "       BYTES   SHARE      VALUES  FIELD\n";
  text += Row(all.bytes, all.bytes, all.count, "(" + message->GetTypeName() + ")");
  for (const SizeRow& row : rows) text += Row(row.bytes, all.bytes, row.count, row.path);
  if (left_out > 0) {
    text += "and " + std::to_string(left_out) + " smaller fields; --limit shows more\n";
  }
  WriteOutput({}, text, OutputKind::kText);
}

}  // namespace

void AddSizeCommand(Command program) {
  auto options = std::make_shared<SizeOptions>();
  Command command =
      program.AddCommand("size", "Show how many wire bytes each field of messages takes");
  AddTypeArgument(command, &options->type);
  AddInput(command, &options->input);
  AddFormat(command, "-f,--from", &options->from, "Format of the input");
  command.Add("-d,--depth", &options->max_depth_shown, "Show fields to this depth only")
      .Within(1, 1000)
      .ValueName("LEVELS")
      .ShowDefault("all");
  command.Add("-n,--limit", &options->limit, "Show the largest fields only")
      .Within(1, 100000)
      .ValueName("FIELDS")
      .ShowDefault();
  AddJobs(command, &options->jobs);
  command.AddFlag("--by-path", &options->by_path, "Sort by field instead of by size");
  command.Footer(
      "The bytes of a field include its tag and length and all that lies below it; those of "
      "repeated fields and of all records of a stream are added up. Unknown fields stand by "
      "number. \"cmnsys convert --help\" explains the formats.\n"
      "\n"
      "Examples:\n"
      "  cmnsys size Event event.bin\n"
      "  cmnsys size Event events.delimited --depth 1");
  command.Action([options] { Size(*options); });
}

}  // namespace CmnSys::Tool
