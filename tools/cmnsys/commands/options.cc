#include "commands/options.h"

#include "io/colour.h"

namespace CmnSys::Tool {

void AddTypeArgument(Command command, std::string* type) {
  command.Add("TYPE", type, "Message type, for example Pb.CmnSys.Gid or Gid").Required();
}

void AddInput(Command command, InputOptions* input) {
  command.Add("INPUT", &input->path, "File to read; - is standard input").ShowDefault();
  AddLimits(command, input);
}

void AddLimits(Command command, InputOptions* input) {
  command.Add("--max-bytes", &input->max_bytes, "Refuse longer input")
      .Within(1, (std::uint64_t{1} << 31) - 1)
      .ValueName("BYTES")
      .ShowDefault();
  command.Add("--max-depth", &input->max_depth, "Refuse messages nested deeper than this")
      .Within(1, 1000)
      .ValueName("LEVELS")
      .ShowDefault();
}

void AddJobs(Command command, std::size_t* jobs) {
  command.Add("-j,--jobs", jobs, "Threads that work on a long stream; the results are the same")
      .Within(1, 256)
      .ValueName("THREADS")
      .ShowDefault("one a processor");
}

void AddOutput(Command command, OutputOptions* output) {
  command.Add("-o,--output", &output->path, "File to write; - is standard output")
      .ValueName("FILE")
      .ShowDefault();
}

void AddFormat(Command command, const std::string& name, Format* format,
               const std::string& description) {
  std::vector<std::string> names;
  for (const auto& entry : FormatNames()) names.push_back(entry.first);
  command
      .Add(
          name, [format](const std::string& value) { *format = FormatNames().at(value); },
          description)
      .OneOf(names)
      .ValueName("FORMAT")
      .ShowDefault("auto");
}

void AddJson(Command command, JsonOptions* json) {
  const std::string group = "JSON";
  command
      .AddFlag(
          "--compact", [json] { json->write.indent = 0; }, "One line a message")
      .Group(group);
  command
      .AddFlag("--schema-names", &json->write.schema_names, "Field names as the schema spells them")
      .Group(group);
  command.AddFlag("--enums-as-numbers", &json->write.enums_as_numbers, "Enum values by number")
      .Group(group);
  command
      .AddFlag(
          "--hex-bytes",
          [json] { json->write.bytes = json->read.bytes = Util::JsonBytes::kHexadecimal; },
          "Bytes fields in hexadecimal instead of base64, also when reading")
      .Group(group);
  command
      .AddFlag("--unset-fields", &json->write.unset_fields,
               "Also unset fields, with their defaults")
      .Group(group);
  command
      .AddFlag("--lossy", &json->lossy,
               "Leave out, with a warning, unknown fields and bytes that are not UTF-8")
      .Group(group);
}

void AddColour(Command program) {
  program
      .Add(
          "--color",
          [](const std::string& choice) {
            ChooseColours(choice == "always"  ? ColourChoice::kAlways
                          : choice == "never" ? ColourChoice::kNever
                                              : ColourChoice::kAuto);
          },
          "Colours, auto at a terminal when NO_COLOR is not set")
      .OneOf({"auto", "always", "never"})
      .ValueName("WHEN")
      .ShowDefault("auto");
}

}  // namespace CmnSys::Tool
