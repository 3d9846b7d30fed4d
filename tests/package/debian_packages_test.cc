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

// The package of this name (without its version and architecture) in a folder.
std::string PackageFile(const TemporaryFolder& folder, const std::string& name) {
  for (const std::string& file : folder.Names()) {
    if (file.rfind(name + "_" CMNSYS_VERSION "_", 0) == 0) return folder.PathOf(file);
  }
  return "no package " + name + " was built";
}

TEST(DebianPackages, RuntimeAndDevelopmentFilesArePartedAndDependenciesNamed) {
  const TemporaryFolder folder;
  const ProcessResult packed =
      CmnSys::Test::Run({"cpack", "--config", std::string(CMNSYS_BUILD) + "/CPackConfig.cmake",
                         "-B", folder.path(), "-D", "CPACK_DEBIAN_COMPRESSION_TYPE=none", "-D",
                         "CPACK_COMPONENTS_ALL=runtime;development"});
  ASSERT_EQ(packed.status, 0) << packed.output << packed.errors;

  const auto field = [&folder](const std::string& package, const std::string& name) {
    return CmnSys::Test::Run({"dpkg-deb", "--field", PackageFile(folder, package), name}).output;
  };
  const std::string runtime_needs = field("cmnsysprotobuf", "Depends");
  for (const char* library : {"libc6", "libprotobuf32", "libstdc++6"}) {
    EXPECT_TRUE(Contains(runtime_needs, library)) << runtime_needs;
  }
  const std::string development_needs = field("cmnsysprotobuf-dev", "Depends");
  for (const char* package : {"cmnsysprotobuf (= " CMNSYS_VERSION ")", "libprotobuf-dev"}) {
    EXPECT_TRUE(Contains(development_needs, package)) << development_needs;
  }

  const std::string runtime = folder.PathOf("runtime");
  const std::string development = folder.PathOf("development");
  CmnSys::Test::Run({"dpkg-deb", "--extract", PackageFile(folder, "cmnsysprotobuf"), runtime});
  CmnSys::Test::Run(
      {"dpkg-deb", "--extract", PackageFile(folder, "cmnsysprotobuf-dev"), development});
  for (const char* file :
       {"bin/cmnsys", "share/man/man1/cmnsys.1", "share/bash-completion/completions/cmnsys",
        "share/zsh/vendor-completions/_cmnsys"}) {
    EXPECT_TRUE(fs::exists(runtime + "/usr/" + file)) << file;
  }
  for (const auto& entry : fs::recursive_directory_iterator(runtime)) {
    const fs::path& path = entry.path();
    EXPECT_NE(path.extension(), ".h") << path;
    EXPECT_NE(path.extension(), ".so") << path;
    if (entry.is_regular_file()) {
      const ProcessResult dynamic = CmnSys::Test::Run({"readelf", "--dynamic", path});
      EXPECT_FALSE(Contains(dynamic.output, "RUNPATH")) << path << dynamic.output;
    }
  }
  EXPECT_TRUE(fs::exists(development + "/usr/include/ProtoBuf/CmnSys/CmnSys.Gid.pb.h"));
  for (const auto& entry : fs::recursive_directory_iterator(development)) {
    const fs::path& path = entry.path();
    EXPECT_FALSE(fs::exists(runtime + "/" + fs::relative(path, development).string()) &&
                 !entry.is_directory())
        << path << " is in both packages";
    EXPECT_FALSE(Contains(path.filename(), ".so.")) << path << " belongs into the runtime package";
  }
}

}  // namespace
}  // namespace CmnSys::Test
