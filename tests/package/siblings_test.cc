// The library on top of sibling packages of other projects instead of its own stand-ins.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "package/cmake_project.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

const std::string kWork = CMNSYS_WORK "/siblings";
const std::string kSiblings = kWork + "/siblings-prefix";
const std::string kInstalled = kWork + "/prefix";

void ConfigureAndBuild(const CMakeProject& project, const std::vector<std::string>& options,
                       const std::string& target = "all") {
  const ProcessResult configured = project.Configure(options);
  ASSERT_EQ(configured.status, 0) << configured.output << configured.errors;
  const ProcessResult built = project.Build(target);
  ASSERT_EQ(built.status, 0) << built.output << built.errors;
}

TEST(RealSiblings, TheLibraryBuildsInstallsAndRunsWithStockPackages) {
  const CMakeProject siblings(CMNSYS_SOURCE "/tests/package/siblings", kWork + "/siblings-build");
  ASSERT_NO_FATAL_FAILURE(
      ConfigureAndBuild(siblings, {kThroughCompilerCache, "-DSCHEMA_ROOT=" CMNSYS_SOURCE}));
  ASSERT_EQ(siblings.Install(kSiblings).status, 0);

  const CMakeProject library(CMNSYS_SOURCE, kWork + "/build");
  ASSERT_NO_FATAL_FAILURE(ConfigureAndBuild(
      library,
      {"-DCMNSYS_BUNDLED_SIBLINGS=OFF", "-DCMNSYS_BUILD_TESTS=OFF", "-DCMNSYS_BUILD_EXAMPLES=OFF",
       "-DCMAKE_PREFIX_PATH=" + kSiblings, "-DCMAKE_BUILD_TYPE=Unoptimized"}));
  ASSERT_EQ(library.Install(kInstalled).status, 0);

  const CMakeProject consumer(CMNSYS_SOURCE "/tests/package/consumer", kWork + "/consumer");
  ASSERT_NO_FATAL_FAILURE(ConfigureAndBuild(
      consumer, {kThroughCompilerCache, "-DCMAKE_PREFIX_PATH=" + kInstalled + ";" + kSiblings},
      "consumer"));
  const ProcessResult ran = CmnSys::Test::Run(
      {"env", "LD_LIBRARY_PATH=" + kSiblings + "/lib", kWork + "/consumer/consumer"});
  EXPECT_EQ(ran.status, 0) << ran.errors;

  const ProcessResult needed = CmnSys::Test::Run(
      {"readelf", "--dynamic", kInstalled + "/" CMNSYS_LIBDIR "/libCmnSysProtoBuf.so"});
  EXPECT_NE(needed.output.find("libPrismProtoBuf.so.7"), std::string::npos) << needed.output;
}

}  // namespace
}  // namespace CmnSys::Test
