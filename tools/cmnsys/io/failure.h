// How a command reports that it cannot do what was asked.

#ifndef CMNSYS_TOOLS_IO_FAILURE_H_
#define CMNSYS_TOOLS_IO_FAILURE_H_

#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include "io/exit_status.h"

namespace CmnSys::Tool {

// Thrown by commands; its text tells what is wrong, where, and what to do. main() prints it and
// exits with the status.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& text, ExitStatus status = ExitStatus::kTrouble)
      : std::runtime_error(text), status_(status) {}

  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

// Thrown by commands that have said all there is to say. main() prints nothing more and exits with
// the status.
class Ended : public std::exception {
 public:
  explicit Ended(ExitStatus status) : status_(status) {}

  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

// Writes "cmnsys: ", the text and an end of line to standard error; control characters in the text
// as octal numbers.
void PrintError(std::string_view text);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_FAILURE_H_
