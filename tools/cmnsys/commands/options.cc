#include "commands/options.h"

#include <cstdint>
#include <vector>

#include "io/colour.h"

namespace CmnSys::Tool {

void AddTypeArgument(CLI::App* command, std::string* type) {
  command->add_option("TYPE", *type, "Message type, for example Pb.CmnSys.Gid or Gid")->required();
}

void AddInput(CLI::App* command, InputOptions* input) {
  command->add_option("INPUT", input->path, "File to read; - is standard input")
      ->capture_default_str();
  AddLimits(command, input);
}

void AddLimits(CLI::App* command, InputOptions* input) {
  command->add_option("--max-bytes", input->max_bytes, "Refuse longer input")
      ->check(CLI::Range(std::uint64_t{1}, (std::uint64_t{1} << 31) - 1))
      ->type_name("BYTES")
      ->capture_default_str();
  command->add_option("--max-depth", input->max_depth, "Refuse messages nested deeper than this")
      ->check(CLI::Range(1, 1000))
      ->type_name("LEVELS")
      ->capture_default_str();
}

void AddOutput(CLI::App* command, OutputOptions* output) {
  command->add_option("-o,--output", output->path, "File to write; - is standard output")
      ->type_name("FILE")
      ->capture_default_str();
}

void AddFormat(CLI::App* command, const std::string& name, Format* format,
               const std::string& description) {
  std::vector<std::string> names;
  for (const auto& entry : FormatNames()) names.push_back(entry.first);
  command
      ->add_option_function<std::string>(
          name, [format](const std::string& value) { *format = FormatNames().at(value); },
          description)
      ->check(CLI::IsMember(names))
      ->type_name("FORMAT")
      ->default_str("auto");
}

void AddJson(CLI::App* command, JsonOptions* json) {
  const std::string group = "JSON";
  command
      ->add_flag(
          "--compact", [json](std::int64_t) { json->write.indent = 0; }, "One line a message")
      ->group(group);
  command
      ->add_flag("--schema-names", json->write.schema_names,
                 "Field names as the schema spells them")
      ->group(group);
  command->add_flag("--enums-as-numbers", json->write.enums_as_numbers, "Enum values by number")
      ->group(group);
  command
      ->add_flag(
          "--hex-bytes",
          [json](std::int64_t) {
            json->write.bytes = json->read.bytes = Util::JsonBytes::kHexadecimal;
          },
          "Bytes fields in hexadecimal instead of base64, also when reading")
      ->group(group);
  command
      ->add_flag("--unset-fields", json->write.unset_fields,
                 "Also unset fields, with their defaults")
      ->group(group);
  command
      ->add_flag("--lossy", json->lossy,
                 "Leave out, with a warning, unknown fields and bytes that are not UTF-8")
      ->group(group);
}

void AddColour(CLI::App* app) {
  app->add_option_function<std::string>(
         "--color",
         [](const std::string& choice) {
           ChooseColours(choice == "always"  ? ColourChoice::kAlways
                         : choice == "never" ? ColourChoice::kNever
                                             : ColourChoice::kAuto);
         },
         "Colours; auto: at a terminal and when NO_COLOR is not set")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->type_name("WHEN")
      ->default_str("auto");
}

}  // namespace CmnSys::Tool
