// How a command reports that it cannot do what was asked.

#ifndef CMNSYS_TOOLS_FAILURE_H_
#define CMNSYS_TOOLS_FAILURE_H_

#include <stdexcept>

namespace CmnSys::Tool {

// Thrown by commands; its text tells what is wrong, where, and what to do. main() prints it after
// "cmnsys: " and exits with status 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FAILURE_H_
