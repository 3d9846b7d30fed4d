#ifndef CMNSYS_TESTS_SUPPORT_PROCESS_H_
#define CMNSYS_TESTS_SUPPORT_PROCESS_H_

#include <string>
#include <string_view>
#include <vector>

namespace CmnSys::Test {

struct ProcessResult {
  // Exit status; 128 plus the number of the signal that ended the process.
  int status = -1;
  std::string output;  // standard output
  std::string errors;  // standard error
};

// Runs a program, without a shell, with `input` as its standard input, and waits for its end.
// command[0] is looked up in PATH. Throws std::runtime_error when it cannot be started.
ProcessResult Run(const std::vector<std::string>& command, std::string_view input = "");

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_SUPPORT_PROCESS_H_
