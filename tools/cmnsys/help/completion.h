// Shell completions of cmnsys, made from its own command line so that the two never differ.

#ifndef CMNSYS_TOOLS_HELP_COMPLETION_H_
#define CMNSYS_TOOLS_HELP_COMPLETION_H_

#include <CLI/CLI.hpp>
#include <string>

namespace CmnSys::Tool {

// A script that bash sources.
std::string BashCompletion(const CLI::App& app);

// A function that zsh loads from its fpath, where it is called _cmnsys.
std::string ZshCompletion(const CLI::App& app);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_HELP_COMPLETION_H_
