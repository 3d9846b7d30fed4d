// The commands of cmnsys, one source file each.

#ifndef CMNSYS_TOOLS_COMMANDS_COMMANDS_H_
#define CMNSYS_TOOLS_COMMANDS_COMMANDS_H_

#include "command_line/command.h"

namespace CmnSys::Tool {

// Each adds its command to the program. The command throws Failure when it cannot do what was
// asked.
void AddCallCommand(Command program);
void AddCheckCommand(Command program);
void AddConvertCommand(Command program);
void AddDecodeCommand(Command program);
void AddDescribeCommand(Command program);
void AddDiffCommand(Command program);
void AddEncodeCommand(Command program);
void AddFilterCommand(Command program);
void AddGuessCommand(Command program);
void AddHealthCommand(Command program);
void AddListCommand(Command program);
void AddSampleCommand(Command program);
void AddSizeCommand(Command program);
void AddSubscribeCommand(Command program);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_COMMANDS_COMMANDS_H_
