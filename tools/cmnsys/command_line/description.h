// The commands and options of a program as data, for its manual page and for completion.

#ifndef CMNSYS_TOOLS_COMMAND_LINE_DESCRIPTION_H_
#define CMNSYS_TOOLS_COMMAND_LINE_DESCRIPTION_H_

#include <string>
#include <vector>

namespace CmnSys::Tool {

// An option, or an argument that is known by its position.
struct Argument {
  std::vector<std::string> names;  // "-f" and "--from"; empty for a positional argument.
  std::string value;               // "FORMAT", or "TYPE" for a positional one; empty for a flag.
  std::vector<std::string> words;  // The values that it takes; none when it takes others too.
  std::string default_value;
  std::string description;
  bool required = false;
  bool repeatable = false;
};

// What follows the name of a command, or of the program itself.
struct CommandDescription {
  std::string name;
  std::string description;
  std::string footer;
  std::vector<Argument> options;
  std::vector<Argument> positionals;
  std::vector<CommandDescription> commands;  // In the order in which they were added.
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_COMMAND_LINE_DESCRIPTION_H_
