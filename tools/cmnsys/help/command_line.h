// The commands and options of cmnsys as data, for its manual page.

#ifndef CMNSYS_TOOLS_HELP_COMMAND_LINE_H_
#define CMNSYS_TOOLS_HELP_COMMAND_LINE_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace CmnSys::Tool {

// An option, or an argument that is known by its position.
struct Argument {
  std::vector<std::string> names;  // "-f" and "--from"; empty for a positional argument.
  std::string value;               // "FORMAT", or "TYPE" for a positional one; empty for a flag.
  std::string default_value;
  std::string description;
  bool required = false;
  bool repeatable = false;
};

// What follows the name of a command, or of the program itself.
struct CommandLine {
  std::string name;
  std::string description;
  std::string footer;
  std::vector<Argument> options;
  std::vector<Argument> positionals;
};

// Everything that "COMMAND --help" shows.
CommandLine CommandLineOf(const CLI::App& app);

// The commands in the order in which they were added.
std::vector<CommandLine> CommandsOf(const CLI::App& app);

// "cmnsys COMMAND [OPTIONS] TYPE [INPUT]"
std::string Usage(const CommandLine& command);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_HELP_COMMAND_LINE_H_
