#ifndef CMNSYS_TESTS_CMNSYS_CMNSYS_TOOL_H_
#define CMNSYS_TESTS_CMNSYS_CMNSYS_TOOL_H_

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/process.h"

namespace CmnSys::Test {

// Runs the built cmnsys with the given arguments and standard input.
ProcessResult Cmnsys(std::vector<std::string> arguments, std::string_view input = "");

// Whether a run was refused the way every command refuses: with the exit status, nothing on
// standard output, and one message, beginning with "cmnsys: ", that contains `part`.
testing::AssertionResult RefusedWith(const ProcessResult& result, const std::string& part,
                                     int status = 2);

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_CMNSYS_CMNSYS_TOOL_H_
