#include "commands/options.h"

#include <charconv>
#include <map>

#include "io/colour.h"

namespace CmnSys::Tool {
namespace {

std::map<const CLI::Option*, std::vector<std::string>>& Words() {
  static std::map<const CLI::Option*, std::vector<std::string>> words;
  return words;
}

}  // namespace

CLI::Option* TakeOneOf(CLI::Option* option, const std::vector<std::string>& words) {
  Words()[option] = words;
  std::string list;
  for (const std::string& word : words) {
    list += (list.empty() ? "" : &word == &words.back() ? " or " : ", ") + word;
  }
  CLI::Validator check = CLI::IsMember(words);
  return option->check(check.description(""))->description(option->get_description() + ": " + list);
}

std::vector<std::string> WordsOf(const CLI::Option& option) {
  const auto found = Words().find(&option);
  return found == Words().end() ? std::vector<std::string>() : found->second;
}

CLI::Option* TakeWithin(CLI::Option* option, std::uint64_t least, std::uint64_t most) {
  const std::string range = std::to_string(least) + " to " + std::to_string(most);
  const auto check = [least, most, range](const std::string& text) -> std::string {
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    const bool fine = error == std::errc() && stop == end && value >= least && value <= most;
    return fine ? "" : text + " is not a whole number from " + range;
  };
  return option->check(CLI::Validator(check, ""))
      ->description(option->get_description() + ", " + range);
}

void AddTypeArgument(CLI::App* command, std::string* type) {
  command->add_option("TYPE", *type, "Message type, for example Pb.CmnSys.Gid or Gid")->required();
}

void AddInput(CLI::App* command, InputOptions* input) {
  command->add_option("INPUT", input->path, "File to read; - is standard input")
      ->capture_default_str();
  AddLimits(command, input);
}

void AddLimits(CLI::App* command, InputOptions* input) {
  TakeWithin(command->add_option("--max-bytes", input->max_bytes, "Refuse longer input"), 1,
             (std::uint64_t{1} << 31) - 1)
      ->type_name("BYTES")
      ->capture_default_str();
  TakeWithin(command->add_option("--max-depth", input->max_depth,
                                 "Refuse messages nested deeper than this"),
             1, 1000)
      ->type_name("LEVELS")
      ->capture_default_str();
}

void AddJobs(CLI::App* command, std::size_t* jobs) {
  TakeWithin(command->add_option("-j,--jobs", *jobs,
                                 "Threads that work on a long stream; the results are the same"),
             1, 256)
      ->type_name("THREADS")
      ->default_str("one a processor");
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
  TakeOneOf(command->add_option_function<std::string>(
                name, [format](const std::string& value) { *format = FormatNames().at(value); },
                description),
            names)
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
  TakeOneOf(app->add_option_function<std::string>(
                "--color",
                [](const std::string& choice) {
                  ChooseColours(choice == "always"  ? ColourChoice::kAlways
                                : choice == "never" ? ColourChoice::kNever
                                                    : ColourChoice::kAuto);
                },
                "Colours, auto at a terminal when NO_COLOR is not set"),
            {"auto", "always", "never"})
      ->type_name("WHEN")
      ->default_str("auto");
}

}  // namespace CmnSys::Tool
