// How a command reports that it cannot do what was asked.

#ifndef CMNSYS_TOOLS_FAILURE_H_
#define CMNSYS_TOOLS_FAILURE_H_

#include <exception>
#include <stdexcept>
#include <string_view>

namespace CmnSys::Tool {

// Thrown by commands; its text tells what is wrong, where, and what to do. main() prints it and
// exits with status 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Thrown by commands that did their work and have printed an answer that is a no. main() prints
// nothing more and exits with status 1.
class NegativeResult : public std::exception {};

// Writes "cmnsys: ", the text and an end of line to standard error.
void PrintError(std::string_view text);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FAILURE_H_
