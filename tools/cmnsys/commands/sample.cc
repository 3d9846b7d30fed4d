#include <cstdint>
#include <memory>
#include <string>

#include "CmnSys/Util/RandomMessage.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "formats/message_stream.h"
#include "io/output.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {
namespace {

struct SampleOptions {
  std::string type;
  std::uint64_t seed = 0;
  std::uint64_t count = 1;
  Util::RandomMessageOptions random;
  Format to = Format::kAuto;
  OutputOptions output;
  JsonOptions json;
};

void Sample(const SampleOptions& options) {
  const std::unique_ptr<google::protobuf::Message> message = NewMessage(options.type);
  Util::RandomMessageOptions random = options.random;
  random.follow_pairing = true;
  const auto sink = OpenSink(options.output, options.to, options.json);
  for (std::uint64_t i = 0; i < options.count; ++i) {
    Util::FillRandom(options.seed + i, random, message.get());
    sink->Write(*message);
  }
  sink->Finish();
}

}  // namespace

void AddSampleCommand(Command program) {
  auto options = std::make_shared<SampleOptions>();
  Command command =
      program.AddCommand("sample", "Make random messages that are valid for their type");
  AddTypeArgument(command, &options->type);
  const auto add = [command](const std::string& name, auto* value, const std::string& description,
                             std::uint64_t most, const std::string& unit) {
    command.Add(name, value, description).Within(0, most).ValueName(unit).ShowDefault();
  };
  add("-s,--seed", &options->seed, "The same seed gives the same message", UINT64_MAX, "NUMBER");
  add("-n,--count", &options->count, "Messages to make, with seeds that follow", 1000000000,
      "NUMBER");
  add("--percent-set", &options->random.percent_set, "How likely a field is set", 100, "PERCENT");
  add("--max-bytes", &options->random.max_bytes, "Longest message to make", 64 << 20, "BYTES");
  add("--max-depth", &options->random.max_depth, "Messages nested below each other", 100, "LEVELS");
  AddFormat(command, "-t,--to", &options->to,
            "Format of the output; auto is json on standard output");
  AddOutput(command, &options->output);
  AddJson(command, &options->json);
  command.Footer(
      "Enum fields hold declared values and strings UTF-8, and payloads go with their selectors, "
      "as \"cmnsys check\" wants it. "
      "\"cmnsys convert --help\" explains the formats.\n"
      "\n"
      "Examples:\n"
      "  cmnsys sample Gid\n"
      "  cmnsys sample Event --seed 7 --to text\n"
      "  cmnsys sample Event --count 1000 --output events.delimited");
  command.Action([options] { Sample(*options); });
}

}  // namespace CmnSys::Tool
