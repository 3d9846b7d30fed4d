// Writing a command's result, whole or not at all.

#ifndef CMNSYS_TOOLS_IO_OUTPUT_H_
#define CMNSYS_TOOLS_IO_OUTPUT_H_

#include <string>
#include <string_view>

namespace CmnSys::Tool {

struct OutputOptions {
  std::string path = "-";  // "-" is standard output.

  // The output's name for messages: its path, or "standard output".
  std::string Name() const;
};

enum class OutputKind { kText, kBinary };

// An output that is written piece by piece. A file appears under its name only when it is complete:
// it is written beside its place and renamed at the end. What goes to standard output or a device
// is gone when something fails later.
class Output {
 public:
  // Throws Failure when the output cannot be opened, and for binary output to a terminal.
  Output(const OutputOptions& options, OutputKind kind);
  // Removes what is not complete.
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Throws Failure when writing fails. The bytes may stay in memory until Finish, unless a person
  // waits for them at a terminal.
  void Write(std::string_view bytes);

  // Completes the output. Throws Failure when that fails.
  void Finish();

 private:
  void Flush();

  std::string name_;
  std::string path_;
  std::string temporary_;  // Empty when the output is written in place.
  int descriptor_ = -1;
  bool terminal_ = false;
  std::string buffer_;
};

// Writes a command's whole result.
void WriteOutput(const OutputOptions& options, std::string_view bytes, OutputKind kind);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_OUTPUT_H_
