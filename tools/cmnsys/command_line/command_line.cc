#include <CLI/CLI.hpp>
#include <charconv>
#include <map>
#include <sstream>
#include <string_view>

#include "command_line/command.h"
#include "command_line/description.h"
#include "command_line/program.h"
#include "io/failure.h"

namespace CmnSys::Tool {
namespace {

std::map<const CLI::Option*, std::vector<std::string>>& Words() {
  static std::map<const CLI::Option*, std::vector<std::string>> words;
  return words;
}

void AddToDescription(CLI::Option* option, const std::string& text) {
  option->description(option->get_description() + text);
}

Argument Describe(const CLI::Option& option) {
  Argument argument;
  for (const std::string& name : option.get_snames()) argument.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) argument.names.push_back("--" + name);
  if (option.get_items_expected_max() != 0) {
    argument.value = argument.names.empty() ? option.get_name() : option.get_type_name();
    argument.default_value = option.get_default_str();
  }
  if (const auto words = Words().find(&option); words != Words().end()) {
    argument.words = words->second;
  }
  argument.description = option.get_description();
  argument.required = option.get_required();
  argument.repeatable = option.get_expected_max() > 1 ||
                        option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  return argument;
}

CommandDescription Describe(const CLI::App& app) {
  CommandDescription command;
  command.name = app.get_name();
  command.description = app.get_description();
  command.footer = app.get_footer();
  for (const CLI::Option* option : app.get_options()) {
    const Argument argument = Describe(*option);
    (argument.names.empty() ? command.positionals : command.options).push_back(argument);
  }
  for (const CLI::App* added : app.get_subcommands({})) {
    command.commands.push_back(Describe(*added));
  }
  return command;
}

// What is wrong with the command line, and where to read more.
std::string Misunderstood(const CLI::App& app, const CLI::ParseError& error) {
  const auto commands = app.get_subcommands();
  const std::string program =
      app.get_name() + (commands.empty() ? "" : " " + commands.front()->get_name());
  const std::vector<std::string> unknown = app.remaining(true);
  std::string text = error.what();
  static constexpr std::string_view kFlagWithValue = " was given a disallowed flag override";
  const std::size_t flag_ends = text.find(kFlagWithValue);
  if (flag_ends != std::string::npos) text = "--" + text.substr(0, flag_ends) + " takes no value";
  if (!unknown.empty()) {
    const std::string& word = unknown.front();
    const bool option = word.size() > 1 && word.front() == '-';
    const std::string kind = option ? "option" : commands.empty() ? "command" : "";
    text = kind.empty() ? word + " is an argument too many" : "there is no " + kind + " " + word;
  } else if (commands.empty() && error.get_name() == "RequiredError") {
    text = "a command is required";
  }
  return text + "; \"" + program + " --help\" tells more";
}

}  // namespace

Option Option::Required() const { return Option(option_->required()); }

Option Option::ValueName(const std::string& name) const { return Option(option_->type_name(name)); }

Option Option::ShowDefault() const { return Option(option_->capture_default_str()); }

Option Option::ShowDefault(const std::string& words) const {
  return Option(option_->default_str(words));
}

Option Option::Group(const std::string& name) const { return Option(option_->group(name)); }

Option Option::Repeatable() const {
  return Option(option_->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll));
}

Option Option::OneOf(const std::vector<std::string>& words) const {
  Words()[option_] = words;
  std::string list;
  for (const std::string& word : words) {
    list += (list.empty() ? "" : &word == &words.back() ? " or " : ", ") + word;
  }
  CLI::Validator check = CLI::IsMember(words);
  option_->check(check.description(""));
  AddToDescription(option_, ": " + list);
  return *this;
}

Option Option::Within(std::uint64_t least, std::uint64_t most) const {
  const std::string range = std::to_string(least) + " to " + std::to_string(most);
  Check([least, most, range](const std::string& text) -> std::string {
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    const bool fine = error == std::errc() && stop == end && value >= least && value <= most;
    return fine ? "" : text + " is not a whole number from " + range;
  });
  AddToDescription(option_, ", " + range);
  return *this;
}

Option Option::Check(const std::function<std::string(const std::string&)>& fault) const {
  return Option(option_->check(CLI::Validator(fault, "")));
}

Option Option::Needs(Option other) const { return Option(option_->needs(other.option_)); }

Option Option::Excludes(Option other) const { return Option(option_->excludes(other.option_)); }

Command Command::AddCommand(const std::string& name, const std::string& description) const {
  return Command(app_->add_subcommand(name, description));
}

Option Command::Add(const std::string& names, std::string* value,
                    const std::string& description) const {
  return Option(app_->add_option(names, *value, description));
}

Option Command::Add(const std::string& names, std::vector<std::string>* value,
                    const std::string& description) const {
  return Option(app_->add_option(names, *value, description));
}

Option Command::Add(const std::string& names, int* value, const std::string& description) const {
  return Option(app_->add_option(names, *value, description));
}

Option Command::Add(const std::string& names, std::uint64_t* value,
                    const std::string& description) const {
  return Option(app_->add_option(names, *value, description));
}

Option Command::Add(const std::string& names, double* value, const std::string& description) const {
  return Option(app_->add_option(names, *value, description));
}

Option Command::Add(const std::string& names, const Take& take,
                    const std::string& description) const {
  return Option(app_->add_option_function<std::string>(names, take, description));
}

Option Command::AddFlag(const std::string& names, bool* value,
                        const std::string& description) const {
  return Option(app_->add_flag(names, *value, description)->disable_flag_override());
}

Option Command::AddFlag(const std::string& names, const std::function<void()>& set,
                        const std::string& description) const {
  CLI::Option* const option = app_->add_flag(
      names, [set](std::int64_t) { set(); }, description);
  return Option(option->disable_flag_override());
}

void Command::Footer(const std::string& text) const { app_->footer(text); }

void Command::Action(const std::function<void()>& run) const { app_->callback(run); }

Program::Program(const std::string& name, const std::string& version,
                 const std::string& description)
    : app_(std::make_unique<CLI::App>(description, name)) {
  app_->set_version_flag("--version", name + " " + version);
  app_->require_subcommand(1);
  app_->get_formatter()->column_width(28);
  app_->fallthrough();
}

Program::~Program() = default;

std::optional<std::string> Program::Run(int argc, const char* const* argv) {
  try {
    app_->parse(argc, argv);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) throw Failure(Misunderstood(*app_, error));
    std::ostringstream text;  // --help and --version
    app_->exit(error, text, text);
    return text.str();
  }
}

CommandDescription Program::Describe() const { return Tool::Describe(*app_); }

}  // namespace CmnSys::Tool
