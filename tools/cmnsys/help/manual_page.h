// The manual page of cmnsys, made from its own command line so that the two never differ.

#ifndef CMNSYS_TOOLS_HELP_MANUAL_PAGE_H_
#define CMNSYS_TOOLS_HELP_MANUAL_PAGE_H_

#include <string>

#include "command_line/description.h"

namespace CmnSys::Tool {

// The page in the macros of man(7).
std::string ManualPage(const CommandDescription& program);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_HELP_MANUAL_PAGE_H_
