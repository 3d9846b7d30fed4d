// The library on top of sibling packages of other projects instead of its own stand-ins.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "package/cmake_project.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

const std::string kProjects = CMNSYS_SOURCE "/tests/package/siblings";
const std::string kWork = CMNSYS_WORK "/siblings";
const std::string kSiblings = kWork + "/siblings-prefix";
const std::string kInstalled = kWork + "/prefix";

void ConfigureAndBuild(const CMakeProject& project, const std::vector<std::string>& options) {
  const ProcessResult configured = project.Configure(options);
  ASSERT_EQ(configured.status, 0) << configured.output << configured.errors;
  const ProcessResult built = project.Build();
  ASSERT_EQ(built.status, 0) << built.output << built.errors;
}

TEST(RealSiblings, TheLibraryBuildsInstallsAndRunsWithStockPackages) {
  const CMakeProject siblings(kProjects + "/stock", kWork + "/siblings-build");
  ASSERT_NO_FATAL_FAILURE(ConfigureAndBuild(siblings, {"-DSCHEMA_ROOT=" CMNSYS_SOURCE}));
  ASSERT_EQ(siblings.Install(kSiblings).status, 0);

  const CMakeProject library(kProjects + "/library", kWork + "/build");
  ASSERT_NO_FATAL_FAILURE(
      ConfigureAndBuild(library, {"-DCMAKE_PREFIX_PATH=" + kSiblings, "-DSOURCE=" CMNSYS_SOURCE,
                                  "-DPLUGIN=" CMNSYS_PREFIX "/bin/protoc-gen-cmnsys"}));
  const ProcessResult installed = library.Install(kInstalled);
  ASSERT_EQ(installed.status, 0) << installed.errors;

  const CMakeProject consumer(kProjects + "/consumer", kWork + "/consumer");
  ASSERT_NO_FATAL_FAILURE(
      ConfigureAndBuild(consumer, {"-DCMAKE_PREFIX_PATH=" + kInstalled + ";" + kSiblings}));
  const ProcessResult ran = CmnSys::Test::Run(
      {"env", "LD_LIBRARY_PATH=" + kSiblings + "/lib", kWork + "/consumer/consumer"});
  EXPECT_EQ(ran.status, 0) << ran.errors;
}

}  // namespace
}  // namespace CmnSys::Test
