// The sessions in the guides show what cmnsys prints.

#include <gtest/gtest.h>

#include <algorithm>
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
  std::vector<std::string> output;
};

bool TakeStart(const std::string& start, std::string* line) {
  if (line->rfind(start, 0) != 0) return false;
  line->erase(0, start.size());
  return true;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The commands in the blocks "```console", with the lines that follow each.
std::vector<Step> Steps(const std::string& guide) {
  std::vector<Step> steps;
  bool inside = false;
  for (std::string line : Lines(guide)) {
    if (line == "```console" || line == "```") {
      inside = line != "```";
    } else if (inside && TakeStart("$ ", &line)) {
      steps.push_back({line + "\n", {}});
    } else if (inside && TakeStart("> ", &line)) {
      steps.back().command += line + "\n";
    } else if (inside) {
      steps.back().output.push_back(line);
    }
  }
  return steps;
}

// Whether the lines are the shown ones, in which "..." stands for any number of lines.
bool Shows(const std::vector<std::string>& shown, std::size_t i,
           const std::vector<std::string>& lines, std::size_t j) {
  if (i == shown.size()) return j == lines.size();
  const std::size_t start = std::min(shown[i].find_first_not_of(' '), shown[i].size());
  if (shown[i].substr(start) == "...") {
    return Shows(shown, i + 1, lines, j) || (j < lines.size() && Shows(shown, i, lines, j + 1));
  }
  return j < lines.size() && shown[i] == lines[j] && Shows(shown, i + 1, lines, j + 1);
}

class Guide : public testing::TestWithParam<const char*> {};

TEST_P(Guide, SessionsShowWhatTheToolPrints) {
  const TemporaryFolder folder;
  fs::copy(CMNSYS_EXAMPLE_DATA, folder.path(), fs::copy_options::recursive);
  const std::vector<Step> steps = Steps(ReadFile(CMNSYS_GUIDES "/" + std::string(GetParam())));
  ASSERT_FALSE(steps.empty());
  for (const Step& step : steps) {
    const ProcessResult ran =
        CmnSys::Test::Run({"env", "-C", folder.path(), "bash", "-c",
                           "PATH=$(dirname " CMNSYS_TOOL "):$PATH; exec 2>&1\n" + step.command});
    EXPECT_TRUE(Shows(step.output, 0, Lines(ran.output), 0))
        << "of " << step.command << "which prints:\n"
        << ran.output;
  }
}

INSTANTIATE_TEST_SUITE_P(Files, Guide, testing::Values("cmnsys.md", "json.md", "checker.md"));

}  // namespace
}  // namespace CmnSys::Test
