// Writing a command's result, whole or not at all.

#ifndef CMNSYS_TOOLS_OUTPUT_H_
#define CMNSYS_TOOLS_OUTPUT_H_

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>

namespace CmnSys::Tool {

struct OutputOptions {
  std::string path = "-";  // "-" is standard output.

  // Adds the option --output to a command.
  void AddTo(CLI::App* command);
};

enum class OutputKind { kText, kBinary };

// Writes a command's whole result. A file appears under its name only when it is complete: it is
// written beside its place and then renamed. Throws Failure when writing fails, and for binary
// output to a terminal.
void WriteOutput(const OutputOptions& options, std::string_view bytes, OutputKind kind);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_OUTPUT_H_
