#include "help/completion.h"

#include <vector>

#include "help/command_line.h"

namespace CmnSys::Tool {
namespace {

// What completes an argument, known by what it is called: "types", "names", "methods" or "files",
// or nothing.
std::string KindOf(const Argument& argument) {
  const std::string& value = argument.value;
  const bool positional = argument.names.empty();
  if (value == "TYPE") return "types";
  if (value == "METHOD") return "methods";
  if (value == "NAME" && positional) return "names";
  const bool file = value == "INPUT" || value == "LEFT" || value == "RIGHT" || value == "FILE";
  return file ? "files" : "";
}

std::string Words(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// The program's options that may also follow a command.
std::vector<Argument> SharedOptions(const CLI::App& app) {
  std::vector<Argument> shared;
  for (const Argument& option : CommandLineOf(app).options) {
    if (!option.value.empty()) shared.push_back(option);
  }
  return shared;
}

// Everything that follows _cmnsys_argument.
const char kBashFunctions[] = R"sh(
# The words that complete the last argument, one a line: $1 is its kind, $2 what is typed of it.
_cmnsys_candidates() {
  local names=
  case $1 in
    words*) compgen -W "${1#words}" -- "$2" ;;
    files) compgen -f -- "$2" ;;
    types) names=$(cmnsys list 2>/dev/null) ;;
    names) names=$(cmnsys list --kind all 2>/dev/null) ;;
    methods) names=$(cmnsys list --kind methods 2>/dev/null) ;;
  esac
  # A name may be given by its last part.
  [[ -z $names ]] || compgen -W "$names $(sed 's/.*[.]//' <<<"$names")" -- "$2"
}

_cmnsys() {
  local current=${COMP_WORDS[COMP_CWORD]} command= option= kind= word
  local -i position=1 i
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if [[ $word == = ]]; then # of --option=value, which bash splits
      continue
    elif [[ -n $option ]]; then
      option=
    elif [[ $word == -?* ]]; then
      [[ -z $(_cmnsys_argument "$command" "$word") ]] || option=$word
    elif [[ -z $command ]]; then
      command=$word
    else
      position+=1
    fi
  done
  [[ $current != = ]] || current=
  if [[ -n $option ]]; then
    kind=$(_cmnsys_argument "$command" "$option")
  elif [[ $current == -* ]]; then
    kind=$(_cmnsys_argument "$command" options)
  elif [[ -z $command ]]; then
    kind=$(_cmnsys_argument '' commands)
  else
    kind=$(_cmnsys_argument "$command" "$position")
  fi
  [[ $kind != files ]] || compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(_cmnsys_candidates "$kind" "$current")
}

complete -F _cmnsys cmnsys
)sh";

// A line of the case statement of _cmnsys_argument.
std::string BashCase(const std::string& pattern, const std::string& kind) {
  return kind.empty() ? "" : "    " + pattern + ") echo '" + kind + "' ;;\n";
}

std::string BashKind(const Argument& argument) {
  if (!argument.choices.empty()) return "words " + Words(argument.choices);
  if (argument.names.empty() || argument.value.empty()) return KindOf(argument);
  const std::string kind = KindOf(argument);
  return kind.empty() ? "anything" : kind;
}

// The cases of one command, or of the program when the name is empty.
std::string BashCases(const std::string& command, const std::vector<Argument>& options,
                      const std::vector<Argument>& positionals) {
  std::string cases;
  std::string names;
  for (const Argument& option : options) {
    std::string pattern;
    for (const std::string& name : option.names) {
      pattern += (pattern.empty() ? "'" : " | '") + command + " " + name + "'";
      names += " " + name;
    }
    cases += BashCase(pattern, BashKind(option));
  }
  cases += BashCase("'" + command + " options'", "words" + names);
  for (std::size_t i = 0; i < positionals.size(); ++i) {
    const std::string pattern = positionals[i].repeatable
                                    ? "'" + command + " '[1-9]*"
                                    : "'" + command + " " + std::to_string(i + 1) + "'";
    cases += BashCase(pattern, BashKind(positionals[i]));
  }
  return cases;
}

// Within single quotes of a specification of _arguments.
std::string ZshEscaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\'') {
      result += "'\\''";
      continue;
    }
    if (c == '[' || c == ']' || c == ':' || c == '\\') result += '\\';
    result += c;
  }
  return result;
}

// What stands behind the description in a specification.
std::string ZshValue(const Argument& argument) {
  if (argument.value.empty()) return "";
  const std::string kind = KindOf(argument);
  std::string action = " ";
  if (!argument.choices.empty()) action = "(" + Words(argument.choices) + ")";
  if (kind == "files") action = "_files";
  if (kind == "types") action = "_cmnsys_names messages";
  if (kind == "names") action = "_cmnsys_names all";
  if (kind == "methods") action = "_cmnsys_names methods";
  return ":" + ZshEscaped(argument.value) + ":" + action;
}

std::string ZshSpecification(const Argument& argument) {
  if (argument.names.empty()) {
    const std::string mark = argument.repeatable ? "*" : argument.required ? "" : ":";
    return "'" + mark + ZshValue(argument) + "'";
  }
  const std::string rest = "[" + ZshEscaped(argument.description) + "]" + ZshValue(argument) + "'";
  const std::string all = argument.repeatable ? "'*" : "'(" + Words(argument.names) + ")";
  std::string specification;
  for (const std::string& name : argument.names) {
    const bool is_long = name.rfind("--", 0) == 0;
    const std::string value = argument.value.empty() ? "" : is_long ? "=" : "+";
    specification += (specification.empty() ? "" : " ") + all + name + value + rest;
  }
  return specification;
}

std::string ZshSpecifications(const std::string& indent, const std::vector<Argument>& arguments) {
  std::string text;
  for (const Argument& argument : arguments) {
    text += " \\\n" + indent + ZshSpecification(argument);
  }
  return text;
}

const char kZshFunctions[] = R"sh(
# Names of a kind that "cmnsys list" knows, in full or by their last part.
_cmnsys_names() {
  local -a names
  names=(${(f)"$(_call_program names cmnsys list --kind $argv[-1] 2>/dev/null)"})
  compadd -a names
  names=(${names##*.})
  compadd -a names
}

)sh";

}  // namespace

std::string BashCompletion(const CLI::App& app) {
  const std::vector<Argument> shared = SharedOptions(app);
  std::string names;
  std::string cases = BashCases("", CommandLineOf(app).options, {});
  for (const CommandLine& command : CommandsOf(app)) {
    names += " " + command.name;
    std::vector<Argument> options = command.options;
    options.insert(options.end(), shared.begin(), shared.end());
    cases += BashCases(command.name, options, command.positionals);
  }
  cases += BashCase("' commands'", "words" + names);
  return "# bash completion of cmnsys, made from its own command line.\n\n"
         "# What completes argument $2 of command $1: an option's value, a position, or the names "
         "of\n"
         "# the options or commands. Prints nothing for a flag.\n"
         "_cmnsys_argument() {\n"
         "  case \"$1 $2\" in\n" +
         cases + "  esac\n}\n" + kBashFunctions;
}

std::string ZshCompletion(const CLI::App& app) {
  const std::vector<Argument> shared = SharedOptions(app);
  std::string names;
  std::string cases;
  for (const CommandLine& command : CommandsOf(app)) {
    names += "    '" + command.name + ":" + ZshEscaped(command.description) + "'\n";
    cases += "    " + command.name + ")\n      _arguments" +
             ZshSpecifications("        ", command.options) +
             ZshSpecifications("        ", shared) +
             ZshSpecifications("        ", command.positionals) + "\n      ;;\n";
  }
  return std::string(
             "#compdef cmnsys\n# zsh completion of cmnsys, made from its own command line.\n") +
         kZshFunctions +
         "_cmnsys() {\n"
         "  local curcontext=$curcontext state\n"
         "  local -a line commands\n"
         "  commands=(\n" +
         names + "  )\n  _arguments -C" + ZshSpecifications("    ", CommandLineOf(app).options) +
         " \\\n    ':COMMAND:->command' '*::ARGUMENT:->argument'\n"
         "  if [[ $state == command ]]; then\n"
         "    _describe -t commands command commands\n"
         "    return\n"
         "  fi\n"
         "  [[ $state == argument ]] || return\n"
         "  case $line[1] in\n" +
         cases + "  esac\n}\n\n_cmnsys \"$@\"\n";
}

}  // namespace CmnSys::Tool
