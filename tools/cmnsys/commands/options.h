// Options and arguments that commands have in common.

#ifndef CMNSYS_TOOLS_COMMANDS_OPTIONS_H_
#define CMNSYS_TOOLS_COMMANDS_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "formats/message_stream.h"
#include "io/input.h"
#include "io/output.h"

namespace CmnSys::Tool {

// Lets the option take these words only, and adds them to its description.
CLI::Option* TakeOneOf(CLI::Option* option, const std::vector<std::string>& words);

// The words that the option takes; none when it takes others too.
std::vector<std::string> WordsOf(const CLI::Option& option);

// Lets the option take whole numbers from `least` to `most` only, and adds them to its description.
CLI::Option* TakeWithin(CLI::Option* option, std::uint64_t least, std::uint64_t most);

// The argument TYPE.
void AddTypeArgument(CLI::App* command, std::string* type);

// The argument INPUT and the limits.
void AddInput(CLI::App* command, InputOptions* input);

// The options --max-bytes and --max-depth.
void AddLimits(CLI::App* command, InputOptions* input);

// The option --jobs.
void AddJobs(CLI::App* command, std::size_t* jobs);

// The option --output.
void AddOutput(CLI::App* command, OutputOptions* output);

// The option `name` that takes a format.
void AddFormat(CLI::App* command, const std::string& name, Format* format,
               const std::string& description);

// The options of JSON, in a group of their own.
void AddJson(CLI::App* command, JsonOptions* json);

// The option --color, which acts at once.
void AddColour(CLI::App* app);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_COMMANDS_OPTIONS_H_
