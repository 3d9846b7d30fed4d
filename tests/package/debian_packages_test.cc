#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/files.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

namespace fs = std::filesystem;

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

bool IsInstalled(const std::string& program) {
  return CmnSys::Test::Run({"sh", "-c", "command -v " + program}).status == 0;
}

// Packs what is built, once for all tests, into a folder of its own.
class DebianPackages : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!IsInstalled("dh")) GTEST_SKIP() << "debhelper, which makes the packages, is not installed";
    fs::remove_all(kFolder);
    fs::create_directories(kFolder + "/source");
    // With what an earlier `make package` has left there, symbolic links among it.
    fs::copy(CMNSYS_BUILD "/debian/source/debian", kFolder + "/source/debian",
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    const ProcessResult packed = CmnSys::Test::Run(
        {"make", "-C", kFolder + "/source", "-f", "debian/rules", "binary-arch", "TOOL_PACKAGES="});
    ASSERT_EQ(packed.status, 0) << packed.output << packed.errors;
  }

  static std::string PackageFile(const std::string& name) {
    for (const auto& entry : fs::directory_iterator(kFolder)) {
      const std::string file = entry.path().filename();
      if (file.rfind(name + "_" CMNSYS_VERSION "_", 0) == 0) return entry.path();
    }
    return "no package " + name + " was built";
  }

  static std::string Field(const std::string& package, const std::string& name) {
    return CmnSys::Test::Run({"dpkg-deb", "--field", PackageFile(package), name}).output;
  }

  static std::string Contents(const std::string& package) {
    return CmnSys::Test::Run({"dpkg-deb", "--contents", PackageFile(package)}).output;
  }

  static inline const std::string kFolder = CMNSYS_WORK "/debian";
};

TEST_F(DebianPackages, FilesArePartedDependenciesNamedAndLintianIsContent) {
  const struct {
    const char* package;
    const char* dependency;
    const char* file;
  } cases[] = {
      {"cmnsysprotobuf", "libprotobuf32", "/usr/bin/cmnsys"},
      {"cmnsysprotobuf", "libgrpc++", "/usr/share/man/man1/cmnsys.1.gz"},
      {"cmnsysprotobuf", "cmnsysprotobuf-siblings (>= " CMNSYS_VERSION ")", "libCmnSysUtil.so."},
      {"cmnsysprotobuf", "cmnsysprotobuf-siblings (<< ", "libCmnSysRpc.so."},
      {"cmnsysprotobuf-siblings", "libprotobuf32", "libPrismProtoBuf.so."},
      {"cmnsysprotobuf-dev", "cmnsysprotobuf (= " CMNSYS_VERSION ")", "CmnSys.Gid.pb.h"},
      {"cmnsysprotobuf-dev", "cmnsysprotobuf-siblings-dev (= " CMNSYS_VERSION ")",
       "protoc-gen-cmnsys.1.gz"},
      {"cmnsysprotobuf-siblings-dev", "libprotobuf-dev", "ProtoBuf/Prism/Prism.pb.h"},
  };
  for (const auto& c : cases) {
    const std::string needs = Field(c.package, "Depends");
    EXPECT_TRUE(Contains(needs, c.dependency)) << c.package << " needs " << needs;
    const std::string contents = Contents(c.package);
    EXPECT_TRUE(Contains(contents, c.file)) << c.package << " has\n" << contents;
    EXPECT_TRUE(Contains(contents, "/changelog.gz")) << c.package << " has\n" << contents;
  }
  // The real siblings can take the place of the stand-ins only if nothing of them is elsewhere.
  for (const char* package : {"cmnsysprotobuf", "cmnsysprotobuf-dev"}) {
    const std::string contents = Contents(package);
    EXPECT_FALSE(Contains(contents, "Prism")) << contents;
  }

  if (!IsInstalled("lintian")) GTEST_SKIP() << "lintian, which checks packages, is not installed";
  // No licence has been chosen yet, so there is nothing to say in a copyright file.
  const ProcessResult checked = CmnSys::Test::Run(
      {"lintian", "--allow-root", "--fail-on=error,warning", "--suppress-tags=no-copyright-file",
       PackageFile("cmnsysprotobuf"), PackageFile("cmnsysprotobuf-siblings"),
       PackageFile("cmnsysprotobuf-dev"), PackageFile("cmnsysprotobuf-siblings-dev")});
  EXPECT_EQ(checked.status, 0) << checked.output << checked.errors;
  EXPECT_EQ(checked.output, "");
}

}  // namespace
}  // namespace CmnSys::Test
