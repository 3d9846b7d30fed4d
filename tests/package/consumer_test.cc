#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "package/cmake_project.h"
#include "support/files.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

const char* const kConsumer = CMNSYS_SOURCE "/tests/package/consumer";

// The folder stays between the tests, so that only the first one compiles.
class FindPackage : public ::testing::Test {
 protected:
  void SetUp() override {
    const ProcessResult configured = project_.Configure();
    ASSERT_EQ(configured.status, 0) << configured.errors;
    const ProcessResult built = project_.Build();
    ASSERT_EQ(built.status, 0) << built.output << built.errors;
  }

  const CMakeProject project_{kConsumer, CMNSYS_WORK "/consumer"};
};

TEST_F(FindPackage, AProgramBuildsAndRuns) {
  const ProcessResult ran = project_.RunProgram("consumer");
  EXPECT_EQ(ran.status, 0) << ran.errors;
}

TEST_F(FindPackage, PlugInsShareTheMessagesOfOneProcess) {
  const ProcessResult ran =
      project_.RunProgram("plugin_host", {"libplugin_writer.so", "libplugin_reader.so"});
  EXPECT_EQ(ran.status, 0) << ran.errors;
}

// Guides quote the message.
TEST_F(FindPackage, ASecondCopyOfASchemaFileEndsTheProcess) {
  const ProcessResult ran = project_.RunProgram(
      "plugin_host", {"libplugin_writer.so", "libplugin_reader.so", "libplugin_with_own_copy.so"});
  EXPECT_NE(ran.status, 0);
  EXPECT_NE(ran.errors.find("File already exists in database: ProtoBuf/CmnSys/CmnSys.Iotas.proto"),
            std::string::npos)
      << ran.errors;
}

TEST(FindPackageErrors, AnotherProtobufVersionIsRefusedByNumber) {
  const TemporaryFolder folder;
  folder.Write("FindProtobuf.cmake",
               "set(Protobuf_FOUND TRUE)\n"
               "set(Protobuf_VERSION 3.12.4)\n"
               "set(Protobuf_INCLUDE_DIRS /opt/old/include)\n");
  const ProcessResult configured = CMakeProject(kConsumer, folder.PathOf("build"))
                                       .Configure({"-DCMAKE_MODULE_PATH=" + folder.path()});
  EXPECT_NE(configured.status, 0);
  for (const char* part : {"built for protobuf 3.21", "protobuf 3.12.4", "/opt/old/include"}) {
    EXPECT_NE(configured.errors.find(part), std::string::npos) << part << "\n" << configured.errors;
  }
}

TEST(PkgConfig, AProgramBuildsAndRuns) {
  const std::string build = CMNSYS_WORK "/pkg_config";
  const std::string libraries = CMNSYS_PREFIX "/" CMNSYS_LIBDIR;
  std::filesystem::remove_all(build);
  std::filesystem::create_directories(build);
  const ProcessResult built = CmnSys::Test::Run(
      {"env", "PKG_CONFIG_PATH=" + libraries + "/pkgconfig", "make", "--directory=" + build,
       std::string("--makefile=") + kConsumer + "/Makefile",
       std::string("CXX=") + CMNSYS_LAUNCHER + " " + CMNSYS_COMPILER,
       std::string("CXXFLAGS=") + CMNSYS_COMPILER_FLAGS});
  ASSERT_EQ(built.status, 0) << built.output << built.errors;
  const ProcessResult ran =
      CmnSys::Test::Run({"env", "LD_LIBRARY_PATH=" + libraries, build + "/consumer"});
  EXPECT_EQ(ran.status, 0) << ran.errors;
}

}  // namespace
}  // namespace CmnSys::Test
