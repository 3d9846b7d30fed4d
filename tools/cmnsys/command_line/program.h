// A program of several commands.

#ifndef CMNSYS_TOOLS_COMMAND_LINE_PROGRAM_H_
#define CMNSYS_TOOLS_COMMAND_LINE_PROGRAM_H_

#include <memory>
#include <optional>
#include <string>

#include "command_line/command.h"
#include "command_line/description.h"

namespace CmnSys::Tool {

class Program {
 public:
  Program(const std::string& name, const std::string& version, const std::string& description);
  ~Program();

  // To add commands to, and options that stand before or behind the name of any command.
  Command root() const { return Command(app_.get()); }

  // Parses the command line and runs its command. Returns the text that was asked for instead, by
  // --help or --version. Throws Failure for a command line that it does not understand, and what
  // the command throws.
  std::optional<std::string> Run(int argc, const char* const* argv);

  CommandDescription Describe() const;

 private:
  std::unique_ptr<CLI::App> app_;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_COMMAND_LINE_PROGRAM_H_
