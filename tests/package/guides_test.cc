// The samples in the guides are pieces of programs that these tests build.

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "package/cmake_project.h"
#include "support/files.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

namespace fs = std::filesystem;

class Examples : public ::testing::TestWithParam<const char*> {};

TEST_P(Examples, BuildAndRun) {
  const std::string build = std::string(CMNSYS_WORK "/examples/") + GetParam();
  const CMakeProject project(CMNSYS_SOURCE "/examples/" + std::string(GetParam()), build);
  const ProcessResult configured = project.Configure();
  ASSERT_EQ(configured.status, 0) << configured.errors;
  const ProcessResult built = project.Build();
  ASSERT_EQ(built.status, 0) << built.output << built.errors;
  int programs = 0;
  for (const auto& entry : fs::directory_iterator(build)) {
    const std::string name = entry.path().filename();
    if (name.find("example") == std::string::npos || entry.path().has_extension()) continue;
    ++programs;
    const ProcessResult ran =
        CmnSys::Test::Run({entry.path(), CMNSYS_SOURCE "/examples/data/events.txt"});
    EXPECT_EQ(ran.status, 0) << name << '\n' << ran.output << ran.errors;
  }
  EXPECT_GT(programs, 0);
}

INSTANTIATE_TEST_SUITE_P(OnTheInstalledPackage, Examples,
                         ::testing::Values("messages", "query", "router", "service"),
                         [](const auto& name) { return std::string(name.param); });

TEST(RpcExample, BuildsOnTheInstalledPackageAndTheClientIsServed) {
  const std::string build = CMNSYS_WORK "/examples/query_rpc";
  const CMakeProject project(CMNSYS_SOURCE "/examples/query_rpc", build);
  const ProcessResult configured = project.Configure();
  ASSERT_EQ(configured.status, 0) << configured.errors;
  const ProcessResult built = project.Build();
  ASSERT_EQ(built.status, 0) << built.output << built.errors;
  const ProcessResult ran =
      CmnSys::Test::Run({CMNSYS_SOURCE "/tests/rpc/interop/run.sh", build + "/query_rpc_server",
                         CMNSYS_SOURCE "/examples", build + "/query_rpc_client"});
  EXPECT_EQ(ran.status, 0) << ran.errors;
  EXPECT_NE(ran.output.find("Continue after Abort: UNKNOWN"), std::string::npos) << ran.output;
}

// The lines of a text without the blanks around them, each ended by '\n'.
std::string TrimmedLines(const std::string& text) {
  std::string result = "\n";
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    const std::size_t begin = line.find_first_not_of(' ');
    if (begin != std::string::npos) {
      result += line.substr(begin, line.find_last_not_of(' ') - begin + 1);
    }
    result += '\n';
  }
  return result;
}

// The text between each line "```cpp" or "```cmake" of a guide and the line "```" after it.
std::vector<std::string> Samples(const std::string& guide) {
  std::vector<std::string> samples;
  bool inside = false;
  std::istringstream in(guide);
  for (std::string line; std::getline(in, line);) {
    if (line == "```cpp" || line == "```cmake") {
      inside = true;
      samples.emplace_back();
    } else if (line == "```") {
      inside = false;
    } else if (inside) {
      samples.back() += line + "\n";
    }
  }
  return samples;
}

TEST(Guides, EverySampleStandsInAProgramThatIsBuilt) {
  std::string programs;
  for (const char* folder : {"/examples", "/tests/package/extension"}) {
    for (const auto& entry :
         fs::recursive_directory_iterator(CMNSYS_SOURCE + std::string(folder))) {
      if (entry.is_regular_file()) programs += TrimmedLines(ReadFile(entry.path()));
    }
  }
  for (const char* guide : {"cpp.md", "rpc.md", "services.md", "views.md"}) {
    const std::vector<std::string> samples =
        Samples(ReadFile(CMNSYS_SOURCE "/docs/" + std::string(guide)));
    EXPECT_GT(samples.size(), 3U) << guide;
    for (const std::string& sample : samples) {
      EXPECT_NE(programs.find(TrimmedLines(sample)), std::string::npos)
          << guide << " has a sample that no program contains:\n"
          << sample;
    }
  }
}

}  // namespace
}  // namespace CmnSys::Test
