#include "analysis/diff.h"

#include <google/protobuf/message.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <sstream>
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
#include "pipeline/fresh_message.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

struct DiffOptions {
  std::string type;
  InputOptions left;
  InputOptions right;
  Format left_format = Format::kAuto;
  Format right_format = Format::kAuto;
  JsonOptions json;
  Comparison comparison;
  std::size_t jobs = DefaultJobs();
};

Colour ColourOf(const std::string& line) {
  if (line.compare(0, 5, "added") == 0) return Colour::kGreen;
  if (line.compare(0, 7, "deleted") == 0) return Colour::kRed;
  return Colour::kYellow;
}

std::string PaintedLines(const std::string& differences) {
  std::istringstream lines(differences);
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    text += Painted(ColourOf(line), line, STDOUT_FILENO) + "\n";
  }
  return text;
}

// A record of each side.
struct Pair {
  explicit Pair(const Message& prototype) : left(prototype), right(prototype) {}

  FreshMessage left;
  FreshMessage right;
};

// Compares two sources record by record.
class RecordDiff {
 public:
  RecordDiff(const DiffOptions& options, const Message& prototype, MessageSource* left,
             MessageSource* right, RecordLines* lines)
      : options_(options),
        prototype_(prototype),
        left_(*left),
        right_(*right),
        lines_(*lines),
        progress_(options.left.path),
        own_(prototype) {}

  // Returns whether all are equal.
  bool Run() {
    while (options_.jobs == 1 || left_.position() < kBytesBeforeThreads) {
      if (!Next()) return equal_;
    }
    std::vector<Batch> batches(PipelineSlots(options_.jobs));
    for (Batch& batch : batches) {
      batch.left = left_.NewBlock();
      batch.right = right_.NewBlock();
    }
    const bool splits = batches.back().left != nullptr && batches.back().right != nullptr;
    if (splits && RunThreads(&batches) == PipelineEnd::kWriter) return equal_;
    while (Next()) {
    }
    return equal_;
  }

 private:
  // As many records of either side.
  struct Batch {
    struct Difference {
      std::uint64_t index = 0;  // Of the pair, among those compared.
      std::string text;
    };

    std::unique_ptr<MessageBlock> left;
    std::unique_ptr<MessageBlock> right;
    std::uint64_t compared = 0;
    std::vector<Difference> differences;
    std::size_t text_bytes = 0;

    std::size_t bytes() const { return left->bytes() + right->bytes() + text_bytes; }
    void Release() {
      left->Release();
      right->Release();
      compared = 0;
      differences.clear();
      text_bytes = 0;
    }
  };

  bool Next() {
    const bool in_left = left_.Next(own_.left.Next());
    const bool in_right = right_.Next(own_.right.Next());
    if (!in_left && !in_right) return false;
    progress_.Update(left_.position());
    if (in_left && in_right) {
      Compare();
      return true;
    }
    lines_.Begin(record_);
    lines_.Write("this and what follows: only in " +
                 (in_left ? options_.left : options_.right).Name() + "\n");
    equal_ = false;
    return false;
  }

  void Compare() {
    lines_.Begin(record_++);
    Report(Differences(options_.comparison, *own_.left, *own_.right));
  }

  void Report(const std::string& differences) {
    equal_ = equal_ && differences.empty();
    lines_.Write(PaintedLines(differences));
  }

  PipelineEnd RunThreads(std::vector<Batch>* batches) {
    std::vector<std::unique_ptr<Pair>> pairs(options_.jobs);
    for (auto& pair : pairs) pair = std::make_unique<Pair>(prototype_);
    return RunBatches(
        options_.jobs, batches, [this](Batch* batch) { return Take(batch); },
        [this, &pairs](Batch* batch, std::size_t worker) { Work(batch, pairs[worker].get()); },
        [this](Batch* batch) { return Join(batch); },
        [this] {
          left_.Interrupt();
          right_.Interrupt();
        });
  }

  bool Take(Batch* batch) {
    std::uint64_t count = left_.Wait(kBatchMessages);
    if (count > 0) count = right_.Wait(count);
    return count > 0 && left_.Take(count, batch->left.get()) &&
           right_.Take(count, batch->right.get());
  }

  // Compares until a pair has to be read in order; the blocks then stand at that pair.
  void Work(Batch* batch, Pair* pair) const {
    MessageBlock& left = *batch->left;
    MessageBlock& right = *batch->right;
    while (batch->text_bytes < kMostResultBytes) {
      try {
        if (!left.Next(pair->left.Next())) return;
      } catch (const std::exception&) {
        left.Back();
        return;
      }
      try {
        right.Next(pair->right.Next());
        Add(Differences(options_.comparison, *pair->left, *pair->right), batch);
      } catch (const std::exception&) {
        left.Back();
        right.Back();
        return;
      }
    }
  }

  static void Add(std::string text, Batch* batch) {
    if (!text.empty()) {
      const std::size_t size = text.size();
      batch->differences.push_back({batch->compared, std::move(text)});
      batch->text_bytes += size + sizeof(Batch::Difference);
    }
    ++batch->compared;
  }

  bool Join(Batch* batch) {
    for (const Batch::Difference& difference : batch->differences) {
      lines_.Begin(record_ + difference.index);
      Report(difference.text);
    }
    record_ += batch->compared;
    if (batch->compared > 0) lines_.Begin(record_ - 1);
    while (batch->left->Next(own_.left.Next())) {
      batch->right->Next(own_.right.Next());
      Compare();
    }
    progress_.Update(batch->left->position());
    return true;
  }

  const DiffOptions& options_;
  const Message& prototype_;
  MessageSource& left_;
  MessageSource& right_;
  RecordLines& lines_;
  Progress progress_;
  Pair own_;
  std::uint64_t record_ = 0;
  bool equal_ = true;
};

void Diff(const DiffOptions& options) {
  if (options.left.path == "-" && options.right.path == "-") {
    throw Failure("only one of the two inputs can be standard input");
  }
  const std::unique_ptr<Message> prototype = NewMessage(options.type);
  const auto left = OpenSource(options.left, options.left_format, options.json);
  const auto right = OpenSource(options.right, options.right_format, options.json);
  Output output({}, OutputKind::kText);
  RecordLines lines("", left->is_stream() || right->is_stream(), &output);
  bool equal = false;
  try {
    equal = RecordDiff(options, *prototype, left.get(), right.get(), &lines).Run();
  } catch (const Failure&) {
    lines.Finish();
    output.Finish();
    throw;
  }
  lines.Finish();
  output.Finish();
  if (!equal) throw Ended(ExitStatus::kNo);
}

}  // namespace

void AddDiffCommand(Command program) {
  auto options = std::make_shared<DiffOptions>();
  Command command = program.AddCommand("diff", "Compare two messages, or streams, by field");
  AddTypeArgument(command, &options->type);
  command.Add("LEFT", &options->left.path, "File to read; - is standard input").Required();
  command.Add("RIGHT", &options->right.path, "File to compare it with").Required();
  AddFormat(command, "--left-format", &options->left_format, "Format of LEFT");
  AddFormat(command, "--right-format", &options->right_format, "Format of RIGHT");
  command.AddFlag("--any-order", &options->comparison.any_order,
                  "Ignore the order in repeated fields; with --approximate, the time grows with "
                  "the square of their elements");
  command.AddFlag("--equivalent", &options->comparison.equivalent,
                  "Take an unset field for one that is set to its default");
  command.AddFlag("--approximate", &options->comparison.approximate,
                  "Ignore the last digits of float and double fields");
  AddLimits(command, &options->left);
  AddJobs(command, &options->jobs);
  command.Footer(
      "Prints one difference a line: a field added in RIGHT, deleted, modified or moved. Of "
      "streams, the records are compared one by one. The two sides may have different formats; "
      "\"cmnsys convert --help\" explains them.\n"
      "\n"
      "Exit status: 0 no difference; 1 differences; 2 input that cannot be read.\n"
      "\n"
      "Examples:\n"
      "  cmnsys diff Gid before.bin after.bin\n"
      "  cmnsys diff Gid expected.json captured.hex --any-order");
  command.Action([options] {
    options->right.max_bytes = options->left.max_bytes;
    options->right.max_depth = options->left.max_depth;
    Diff(*options);
  });
}

}  // namespace CmnSys::Tool
