// cmnsys_add_schema_library in a user's project: what it builds, and what it builds again.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "package/cmake_project.h"
#include "support/files.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

namespace fs = std::filesystem;

// A vendor's project with its own schema files, built once.
class VendorProject {
 public:
  VendorProject() {
    fs::remove_all(kFolder);
    fs::create_directories(kFolder);
    fs::copy(CMNSYS_SOURCE "/tests/package/extension", kFolder, fs::copy_options::recursive);
    const ProcessResult configured = project_.Configure();
    EXPECT_EQ(configured.status, 0) << configured.errors;
    Build();
  }

  // Builds and returns what the build says it does.
  std::string Build() const {
    const ProcessResult built = project_.Build();
    EXPECT_EQ(built.status, 0) << built.output << built.errors;
    return built.output;
  }

  int RunVendor() const { return project_.RunProgram("vendor").status; }

  // Writes a schema file anew with one piece of its text replaced.
  static void Replace(const std::string& file, const std::string& from, const std::string& to) {
    const std::string path = kFolder + ("/ProtoBuf/Vendor/" + file);
    std::string text = ReadFile(path);
    const std::size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos);
    std::ofstream(path) << text.replace(at, from.size(), to);
  }

 private:
  // Blanks in paths are told apart from those between them.
  static constexpr const char* kFolder = CMNSYS_WORK "/an extension";
  const CMakeProject project_{kFolder, CMNSYS_WORK "/an extension/build"};
};

bool Generates(const std::string& output, const std::string& file) {
  return output.find("Generating ProtoBuf/Vendor/" + file + ".") != std::string::npos;
}

bool Compiles(const std::string& output, const std::string& file) {
  return output.find("Vendor/" + file + ".pb.cc.o") != std::string::npos;
}

bool DoesNothing(const std::string& output) {
  return output.find("no work to do") != std::string::npos;
}

TEST(SchemaLibrary, AChangeBuildsAgainOnlyWhatItConcerns) {
  const VendorProject project;
  EXPECT_EQ(project.RunVendor(), 0);
  std::string output = project.Build();
  EXPECT_TRUE(DoesNothing(output)) << output;

  // A comment changes no code: what imports the file is generated again, nothing is compiled.
  VendorProject::Replace("Base.proto", "// A vendor's own types.", "// The types of a vendor.");
  output = project.Build();
  EXPECT_TRUE(Generates(output, "Base")) << output;
  EXPECT_TRUE(Generates(output, "User")) << output;
  EXPECT_FALSE(Generates(output, "Alone")) << output;
  EXPECT_EQ(output.find(".cc.o"), std::string::npos) << output;
  output = project.Build();
  EXPECT_TRUE(DoesNothing(output)) << output;

  // A field changes the file's code and what includes its header.
  VendorProject::Replace("Base.proto", "gid = 1;", "gid = 1;\n  optional int32 level = 2;");
  output = project.Build();
  EXPECT_TRUE(Compiles(output, "Base")) << output;
  EXPECT_TRUE(Compiles(output, "User")) << output;
  EXPECT_FALSE(Generates(output, "Alone")) << output;
  EXPECT_FALSE(Compiles(output, "Alone")) << output;
  output = project.Build();
  EXPECT_TRUE(DoesNothing(output)) << output;
}

}  // namespace
}  // namespace CmnSys::Test
