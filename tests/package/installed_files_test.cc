#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> InstalledFiles() {
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(CMNSYS_PREFIX)) {
    if (!entry.is_directory()) files.push_back(entry.path());
  }
  return files;
}

bool EndsIn(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A path of the build folder in a run path or in a package file works only on the machine that
// built it.
TEST(InstalledFiles, NothingLeadsBackToTheBuild) {
  for (const fs::path& path : InstalledFiles()) {
    if (path.extension() == ".proto" || path.extension() == ".desc") continue;
    const std::string text = ReadFile(path);
    if (text.rfind("\x7f"
                   "ELF",
                   0) == 0) {
      const ProcessResult dynamic = CmnSys::Test::Run({"readelf", "--dynamic", path});
      EXPECT_EQ(dynamic.output.find(CMNSYS_SOURCE), std::string::npos) << path << dynamic.output;
    } else {
      EXPECT_EQ(text.find(CMNSYS_SOURCE), std::string::npos) << path;
    }
  }
}

TEST(InstalledFiles, EachKindIsWhereItBelongs) {
  const std::string prefix = CMNSYS_PREFIX "/";
  const std::string libraries = CMNSYS_PREFIX "/" CMNSYS_LIBDIR "/";
  for (const fs::path& path : InstalledFiles()) {
    const std::string name = path.string();
    const auto in = [&name](const std::string& folder) { return name.rfind(folder, 0) == 0; };
    EXPECT_TRUE((in(prefix + "bin/") && path.parent_path() == prefix + "bin") ||
                (in(prefix + "include/ProtoBuf/") && EndsIn(name, ".h")) ||
                (in(prefix + "include/CmnSys/") && EndsIn(name, ".h")) ||
                (in(libraries + "cmake/CmnSysProtoBuf/") && EndsIn(name, ".cmake")) ||
                (in(libraries + "pkgconfig/") && EndsIn(name, ".pc")) ||
                (in(libraries + "lib") && name.find(".so") != std::string::npos) ||
                (in(prefix + "share/CmnSysProtoBuf/ProtoBuf/") && EndsIn(name, ".proto")) ||
                in(prefix + "share/man/") || in(prefix + "share/bash-completion/") ||
                in(prefix + "share/zsh/") || in(prefix + "share/doc/") ||
                name == prefix + "share/CmnSysProtoBuf/CmnSysProtoBuf.desc" ||
                name == prefix + "share/CmnSysProtoBuf/go/protoc_options.sh" ||
                name == prefix + "share/CmnSysProtoBuf/pairings.json")
        << "a stray file: " << name;
  }
}

// Whoever decodes captures or generates code for another language starts from these.
TEST(InstalledFiles, TheSchemaFilesAreCompleteByThemselves) {
  const std::string schema = CMNSYS_PREFIX "/share/CmnSysProtoBuf";
  std::vector<std::string> command = {"protoc", "--proto_path=" + schema,
                                      "--descriptor_set_out=/dev/null"};
  for (const fs::path& path : InstalledFiles()) {
    if (path.extension() == ".proto") command.push_back(path);
  }
  EXPECT_GT(command.size(), 65U);
  const ProcessResult ran = CmnSys::Test::Run(command);
  EXPECT_EQ(ran.status, 0) << ran.errors;
}

TEST(InstalledFiles, TheToolRunsFromTheInstalledPlace) {
  const ProcessResult ran = CmnSys::Test::Run({CMNSYS_PREFIX "/bin/cmnsys", "describe", "Gid"});
  EXPECT_EQ(ran.status, 0) << ran.errors;
}

}  // namespace
}  // namespace CmnSys::Test
