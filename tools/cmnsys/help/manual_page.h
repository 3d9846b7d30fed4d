// The manual page of cmnsys, made from its own command line so that the two never differ.

#ifndef CMNSYS_TOOLS_HELP_MANUAL_PAGE_H_
#define CMNSYS_TOOLS_HELP_MANUAL_PAGE_H_

#include <CLI/CLI.hpp>
#include <string>

namespace CmnSys::Tool {

// The page in the macros of man(7).
std::string ManualPage(const CLI::App& app);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_HELP_MANUAL_PAGE_H_
