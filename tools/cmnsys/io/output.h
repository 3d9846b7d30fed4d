// Writing a command's result, whole or not at all.

#ifndef CMNSYS_TOOLS_IO_OUTPUT_H_
#define CMNSYS_TOOLS_IO_OUTPUT_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "io/buffer.h"

namespace CmnSys::Tool {

struct OutputOptions {
  std::string path = "-";  // "-" is standard output.
  bool live = false;       // Everything is written at once, for whoever reads along.

  // The output's name for messages: its path, or "standard output".
  std::string Name() const;
};

enum class OutputKind { kText, kBinary };

// An output that is written piece by piece. A regular file appears under its name, or replaces the
// former one, only when it is complete; the links that lead to it stay. Until then it has no name,
// or where the file system knows no files without name, a temporary one that also goes away when a
// signal ends the process. Anything else (standard output by whatever name, a device, a pipe) is
// written in place, and what has been written stays when something fails later.
class Output {
 public:
  // Throws Failure when the output cannot be opened, and for binary output to a terminal.
  Output(const OutputOptions& options, OutputKind kind);
  // Removes what is not complete.
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Throws Failure when writing fails. The bytes may stay in memory until Finish, unless somebody
  // waits for them: at a terminal, or where the options say so.
  void Write(std::string_view bytes);

  // The same as Write of one piece after the other; the pieces are told by where they end.
  void WritePieces(std::string_view bytes, const std::vector<std::size_t>& ends);

  // What stays in memory. Whatever is appended to it is written with the next call of Write, or
  // stays as well.
  Buffer* buffer() { return &buffer_; }

  // Completes the output. Throws Failure when that fails.
  void Finish();

 private:
  void OpenBeside();
  void TakeName();
  void Flush();
  void WriteInPlace(std::string_view bytes);
  [[noreturn]] void Fail(int error) const;

  std::string name_;
  std::string path_;       // Where the file goes, behind all links; empty when written in place.
  bool replaces_ = false;  // There is a file, which may be written.
  bool named_ = false;     // The incomplete file has the temporary name.
  int descriptor_ = -1;
  bool own_descriptor_ = true;
  bool terminal_ = false;
  bool live_ = false;
  Buffer buffer_;
};

// Writes a command's whole result.
void WriteOutput(const OutputOptions& options, std::string_view bytes, OutputKind kind);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_OUTPUT_H_
