// Options and arguments that commands have in common.

#ifndef CMNSYS_TOOLS_COMMANDS_OPTIONS_H_
#define CMNSYS_TOOLS_COMMANDS_OPTIONS_H_

#include <cstddef>
#include <string>

#include "command_line/command.h"
#include "formats/message_stream.h"
#include "io/input.h"
#include "io/output.h"

namespace CmnSys::Tool {

// The argument TYPE.
void AddTypeArgument(Command command, std::string* type);

// The argument INPUT and the limits.
void AddInput(Command command, InputOptions* input);

// The options --max-bytes and --max-depth.
void AddLimits(Command command, InputOptions* input);

// The option --jobs.
void AddJobs(Command command, std::size_t* jobs);

// The option --output.
void AddOutput(Command command, OutputOptions* output);

// The option `name` that takes a format.
void AddFormat(Command command, const std::string& name, Format* format,
               const std::string& description);

// The options of JSON, in a group of their own.
void AddJson(Command command, JsonOptions* json);

// The option --color, which acts at once.
void AddColour(Command program);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_COMMANDS_OPTIONS_H_
