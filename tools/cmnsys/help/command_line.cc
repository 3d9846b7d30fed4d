#include "help/command_line.h"

namespace CmnSys::Tool {
namespace {

Argument ArgumentOf(const CLI::Option& option) {
  Argument argument;
  for (const std::string& name : option.get_snames()) argument.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) argument.names.push_back("--" + name);
  if (option.get_items_expected_max() != 0) {
    argument.value = argument.names.empty() ? option.get_name() : option.get_type_name();
    argument.default_value = option.get_default_str();
  }
  argument.description = option.get_description();
  argument.required = option.get_required();
  argument.repeatable = option.get_expected_max() > 1 ||
                        option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  return argument;
}

}  // namespace

CommandLine CommandLineOf(const CLI::App& app) {
  CommandLine command;
  command.name = app.get_name();
  command.description = app.get_description();
  command.footer = app.get_footer();
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty()) continue;
    const Argument argument = ArgumentOf(*option);
    (argument.names.empty() ? command.positionals : command.options).push_back(argument);
  }
  return command;
}

std::vector<CommandLine> CommandsOf(const CLI::App& app) {
  std::vector<CommandLine> commands;
  for (const CLI::App* command : app.get_subcommands({})) {
    commands.push_back(CommandLineOf(*command));
  }
  return commands;
}

std::string Usage(const CommandLine& command) {
  std::string usage = "cmnsys " + command.name + " [OPTIONS]";
  for (const Argument& argument : command.positionals) {
    const std::string value = argument.value + (argument.repeatable ? "..." : "");
    usage += argument.required ? " " + value : " [" + value + "]";
  }
  return usage;
}

}  // namespace CmnSys::Tool
