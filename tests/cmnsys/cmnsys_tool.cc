#include "cmnsys_tool.h"

namespace CmnSys::Test {

ProcessResult Cmnsys(std::vector<std::string> arguments, std::string_view input) {
  arguments.insert(arguments.begin(), CMNSYS_TOOL);
  return Run(arguments, input);
}

testing::AssertionResult RefusedWith(const ProcessResult& result, const std::string& part,
                                     int status) {
  const std::string start = "cmnsys: ";
  const bool one_message = result.errors.compare(0, start.size(), start) == 0 &&
                           result.errors.find("\n" + start) == std::string::npos;
  if (result.status == status && result.output.empty() && one_message &&
      result.errors.find(part) != std::string::npos) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "status " << result.status << "\noutput: " << result.output
                                     << "\nerrors: " << result.errors << "\nexpected: " << part;
}

}  // namespace CmnSys::Test
