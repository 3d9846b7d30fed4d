#include "analysis/diff.h"

#include <google/protobuf/message.h>
#include <unistd.h>

#include <memory>
#include <sstream>
#include <string>

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

// Compares record by record; returns whether all are equal.
bool DiffRecords(const DiffOptions& options, MessageSource* left_source,
                 MessageSource* right_source, RecordLines* lines) {
  const std::unique_ptr<Message> left = NewMessage(options.type);
  const std::unique_ptr<Message> right(left->New());
  Progress progress(options.left.path);
  bool equal = true;
  for (std::uint64_t record = 0;; ++record) {
    const bool in_left = left_source->Next(left.get());
    const bool in_right = right_source->Next(right.get());
    if (!in_left && !in_right) return equal;
    lines->Begin(record);
    if (in_left != in_right) {
      lines->Write("this and what follows: only in " +
                   (in_left ? options.left : options.right).Name() + "\n");
      return false;
    }
    const std::string differences = Differences(options.comparison, *left, *right);
    equal = equal && differences.empty();
    lines->Write(PaintedLines(differences));
    progress.Update(left_source->position());
  }
}

void Diff(const DiffOptions& options) {
  if (options.left.path == "-" && options.right.path == "-") {
    throw Failure("only one of the two inputs can be standard input");
  }
  const auto left = OpenSource(options.left, options.left_format, options.json);
  const auto right = OpenSource(options.right, options.right_format, options.json);
  Output output({}, OutputKind::kText);
  RecordLines lines("", left->is_stream() || right->is_stream(), &output);
  bool equal = false;
  try {
    equal = DiffRecords(options, left.get(), right.get(), &lines);
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

void AddDiffCommand(CLI::App* app) {
  auto options = std::make_shared<DiffOptions>();
  CLI::App* command = app->add_subcommand("diff", "Compare two messages, or streams, by field");
  AddTypeArgument(command, &options->type);
  command->add_option("LEFT", options->left.path, "File to read; - is standard input")->required();
  command->add_option("RIGHT", options->right.path, "File to compare it with")->required();
  AddFormat(command, "--left-format", &options->left_format, "Format of LEFT");
  AddFormat(command, "--right-format", &options->right_format, "Format of RIGHT");
  command->add_flag("--any-order", options->comparison.any_order,
                    "Ignore the order in repeated fields; with --approximate, the time grows with "
                    "the square of their elements");
  command->add_flag("--equivalent", options->comparison.equivalent,
                    "Take an unset field for one that is set to its default");
  command->add_flag("--approximate", options->comparison.approximate,
                    "Ignore the last digits of float and double fields");
  AddLimits(command, &options->left);
  command->footer(
      "Prints one difference a line: a field added in RIGHT, deleted, modified or moved. Of "
      "streams, the records are compared one by one. The two sides may have different formats; "
      "\"cmnsys convert --help\" explains them.\n"
      "\n"
      "Exit status: 0 no difference; 1 differences; 2 input that cannot be read.\n"
      "\n"
      "Examples:\n"
      "  cmnsys diff Gid before.bin after.bin\n"
      "  cmnsys diff Gid expected.json captured.hex --any-order");
  command->callback([options] {
    options->right.max_bytes = options->left.max_bytes;
    options->right.max_depth = options->left.max_depth;
    Diff(*options);
  });
}

}  // namespace CmnSys::Tool
