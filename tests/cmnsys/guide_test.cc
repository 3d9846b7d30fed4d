// The sessions in the guide to cmnsys show what it prints.

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "cmnsys/cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

namespace fs = std::filesystem;

struct Step {
  std::string command;
  std::string output;
};

bool TakeStart(const std::string& start, std::string* line) {
  if (line->rfind(start, 0) != 0) return false;
  line->erase(0, start.size());
  return true;
}

// The commands in the blocks "```console", with the lines that follow each.
std::vector<Step> Steps(const std::string& guide) {
  std::vector<Step> steps;
  bool inside = false;
  std::istringstream in(guide);
  for (std::string line; std::getline(in, line);) {
    if (line == "```console" || line == "```") {
      inside = line != "```";
    } else if (inside && TakeStart("$ ", &line)) {
      steps.push_back({line + "\n", ""});
    } else if (inside && TakeStart("> ", &line)) {
      steps.back().command += line + "\n";
    } else if (inside) {
      steps.back().output += line + "\n";
    }
  }
  return steps;
}

TEST(Guide, SessionsShowWhatTheToolPrints) {
  const TemporaryFolder folder;
  fs::copy(CMNSYS_EXAMPLE_DATA, folder.path(), fs::copy_options::recursive);
  const std::vector<Step> steps = Steps(ReadFile(CMNSYS_GUIDE));
  ASSERT_GT(steps.size(), 15U);
  for (const Step& step : steps) {
    const ProcessResult ran =
        CmnSys::Test::Run({"env", "-C", folder.path(), "bash", "-c",
                           "PATH=$(dirname " CMNSYS_TOOL "):$PATH; exec 2>&1\n" + step.command});
    EXPECT_EQ(ran.output, step.output) << "of " << step.command;
  }
}

}  // namespace
}  // namespace CmnSys::Test
