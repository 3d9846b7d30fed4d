// What the shells offer while a command line is typed.

#ifndef CMNSYS_TOOLS_HELP_COMPLETION_H_
#define CMNSYS_TOOLS_HELP_COMPLETION_H_

#include <string>
#include <vector>

#include "command_line/description.h"

namespace CmnSys::Tool {

// Answers "cmnsys __complete WORD...", which the scripts beside this file ask. `words` are those
// behind the program's name up to the cursor, the last of them, which may be empty, being typed.
// The first line of the answer is "files" when the names of files complete it, else "words", and
// the words follow, one a line, each with its explanation behind a tabulator where there is one.
std::string Complete(const CommandDescription& program, const std::vector<std::string>& words);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_HELP_COMPLETION_H_
