#include "analysis/guess.h"

#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/sample.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "formats/hint.h"
#include "formats/message_stream.h"
#include "io/failure.h"
#include "io/input.h"
#include "io/output.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {

namespace {

struct GuessOptions {
  Format from = Format::kAuto;
  InputOptions input;
  std::size_t limit = 5;
};

std::string Counted(int count, const std::string& one, const std::string& several) {
  return std::to_string(count) + " " + (count == 1 ? one : several);
}

std::string Reason(const Evidence& evidence, std::uint64_t total) {
  std::string text = evidence.unknown_bytes == 0
                         ? "knows all " + std::to_string(total) + " bytes"
                         : "does not know " + Counted(evidence.unknown_fields, "field", "fields") +
                               " of " + std::to_string(evidence.unknown_bytes) + " of " +
                               std::to_string(total) + " bytes";
  constexpr std::size_t kMostNames = 4;
  for (std::size_t i = 0; i < evidence.names.size() && i <= kMostNames; ++i) {
    text += i == 0 ? "; has " : ", ";
    text += i == kMostNames ? "..." : evidence.names[i];
  }
  const auto add = [&text](int count, const std::string& one, const std::string& several) {
    if (count > 0) text += "; " + Counted(count, one, several);
  };
  add(evidence.enum_values, "enum value is declared", "enum values are declared");
  add(evidence.texts, "string is readable", "strings are readable");
  add(evidence.unreadable_texts, "string is not readable", "strings are not readable");
  add(evidence.readable_bytes, "bytes field holds text", "bytes fields hold text");
  add(evidence.rewritten, "record would be written otherwise",
      "records would be written otherwise");
  add(evidence.violations, "payload does not go with its selector",
      "payloads do not go with their selectors");
  return text;
}

// What is weighed of the input: as much as tells the type, in a time that does not depend on it.
struct Sample {
  std::vector<std::string> records;
  bool is_all = true;
  std::string note;  // When one message may as well be a stream.
  std::string hint;  // What the bytes may be when no type fits.
};

Sample TakeSample(const InputOptions& options, Format from) {
  constexpr std::size_t kMostBytes = 64 << 10;
  constexpr std::size_t kMostRecords = 100;
  const WireInput input = ReadWireInput(options, from, kMostBytes);
  if (input.bytes.empty()) {
    throw Failure(options.Name() + " is empty, which every message type fits");
  }
  if (!input.delimited) {
    const std::size_t records = DelimitedRecords(input.bytes, input.is_whole);
    return {{BeginningOfMessage(input.bytes, kMostBytes, input.is_whole)},
            input.is_whole && input.bytes.size() <= kMostBytes,
            records > 1 ? "the bytes are also " + std::string(input.is_whole ? "" : "at least ") +
                              std::to_string(records) +
                              " records of a delimited stream; --from delimited guesses for those"
                        : "",
            HintAtBytes(input.bytes, input.is_whole)};
  }
  const std::vector<std::string_view> split = SplitDelimited(input.bytes, input.is_whole);
  if (split.empty()) throw Failure(options.Name() + " is no stream of delimited messages");
  Sample sample;
  std::size_t total = 0;
  for (std::size_t i = 0; i < split.size() && i < kMostRecords && total < kMostBytes; ++i) {
    const bool is_whole = input.is_whole || i + 1 < split.size();
    if (i > 0 && (!is_whole || total + split[i].size() > kMostBytes)) break;
    sample.records.push_back(BeginningOfMessage(split[i], kMostBytes, is_whole));
    total += split[i].size();
  }
  sample.is_all = input.is_whole && sample.records.size() == split.size() && total <= kMostBytes;
  return sample;
}

void Guess(const GuessOptions& options) {
  const auto [records, is_all, note, hint] = TakeSample(options.input, options.from);
  std::uint64_t total = 0;
  for (const std::string& record : records) total += record.size();
  if (!is_all) {
    PrintError("only the beginning of " + options.input.Name() +
               " is weighed: " + Counted(static_cast<int>(records.size()), "record", "records") +
               ", " + std::to_string(total) + " bytes");
  }

  const std::vector<Candidate> candidates = Candidates(records, options.input.max_depth);
  if (candidates.empty()) {
    throw Failure(options.input.Name() + " fits no message type of the schema" + hint,
                  ExitStatus::kNo);
  }
  if (!note.empty()) PrintError(note);
  const int best = candidates.front().evidence.Score();
  const auto equals = std::count_if(
      candidates.begin(), candidates.end(),
      [best](const Candidate& candidate) { return candidate.evidence.Score() == best; });
  std::string text;
  for (std::size_t i = 0; i < candidates.size() && i < options.limit; ++i) {
    const Evidence& evidence = candidates[i].evidence;
    text += std::to_string(i + 1) + ". " + candidates[i].type->full_name() + "  (score " +
            std::to_string(evidence.Score()) + ")\n   " + Reason(evidence, total) + "\n";
  }
  if (equals > 1) {
    text += std::to_string(equals) + " types fit equally well; more bytes would tell them apart\n";
  }
  WriteOutput({}, text, OutputKind::kText);
}

}  // namespace

void AddGuessCommand(Command program) {
  auto options = std::make_shared<GuessOptions>();
  Command command =
      program.AddCommand("guess", "Tell which message types unknown bytes are likely to be");
  AddInput(command, &options->input);
  AddFormat(command, "-f,--from", &options->from,
            "Format of the input: binary, delimited, hex or delimited-hex");
  command.Add("-n,--limit", &options->limit, "Types to print")
      .Within(1, 10000)
      .ValueName("NUMBER")
      .ShowDefault();
  command.Footer(
      "Tries all message types and ranks those that can be parsed, the likeliest first. Known "
      "fields, declared enum values and readable strings speak for a type; unknown fields, "
      "unreadable strings and payloads without their selector against it. Short messages fit many "
      "types. Of a long input only the first 64 KiB are weighed, of a stream no more than 100 "
      "records.\n"
      "\n"
      "Examples:\n"
      "  cmnsys guess captured.bin\n"
      "  echo '0a 02 01 02 38 02' | cmnsys guess --from hex --limit 3");
  command.Action([options] { Guess(*options); });
}

}  // namespace CmnSys::Tool
