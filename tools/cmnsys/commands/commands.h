// The commands of cmnsys, one source file each.

#ifndef CMNSYS_TOOLS_COMMANDS_COMMANDS_H_
#define CMNSYS_TOOLS_COMMANDS_COMMANDS_H_

#include <CLI/CLI.hpp>

namespace CmnSys::Tool {

// Each adds its command to the application. The command runs when CLI11 has parsed it and throws
// Failure when it cannot do what was asked.
void AddCallCommand(CLI::App* app);
void AddCheckCommand(CLI::App* app);
void AddConvertCommand(CLI::App* app);
void AddDecodeCommand(CLI::App* app);
void AddDescribeCommand(CLI::App* app);
void AddDiffCommand(CLI::App* app);
void AddEncodeCommand(CLI::App* app);
void AddFilterCommand(CLI::App* app);
void AddGuessCommand(CLI::App* app);
void AddHealthCommand(CLI::App* app);
void AddListCommand(CLI::App* app);
void AddSampleCommand(CLI::App* app);
void AddSizeCommand(CLI::App* app);
void AddSubscribeCommand(CLI::App* app);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_COMMANDS_COMMANDS_H_
