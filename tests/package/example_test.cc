#include <gtest/gtest.h>

#include <string>

#include "package/cmake_project.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

TEST(QueryExample, BuildsByItselfAgainstThePackageAndRuns) {
  const std::string build = CMNSYS_WORK "/examples/query";
  const CMakeProject project(CMNSYS_SOURCE "/examples/query", build);
  const ProcessResult configured = project.Configure({kThroughCompilerCache});
  ASSERT_EQ(configured.status, 0) << configured.errors;
  const ProcessResult built = project.Build();
  ASSERT_EQ(built.status, 0) << built.output << built.errors;
  const ProcessResult ran =
      CmnSys::Test::Run({build + "/query_example", CMNSYS_SOURCE "/examples/data/events.txt"});
  EXPECT_EQ(ran.status, 0) << ran.errors;
}

}  // namespace
}  // namespace CmnSys::Test
