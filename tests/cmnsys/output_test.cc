// Where results go: files that appear when they are complete, links, devices and descriptors.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

// Runs a shell command; $CMNSYS is the tool.
ProcessResult Shell(const std::string& command) {
  return CmnSys::Test::Run({"env", "CMNSYS=" CMNSYS_TOOL, "bash", "-c", command});
}

TEST(Output, LeavesNothingPartial) {
  const TemporaryFolder folder;
  const std::string output = folder.Write("out", "kept");
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid", "-", "-o", output}, "\x0a\x05\x01\x02"), "id"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "Gid", "-", "-o", output}, "id: 1"), "1:5"));
  EXPECT_EQ(ReadFile(output), "kept");
  EXPECT_EQ(folder.Names(), std::vector<std::string>{"out"});

  EXPECT_TRUE(
      RefusedWith(Cmnsys({"decode", "Gid", "-", "-o", folder.PathOf("no/out")}), "cannot write"));
}

TEST(Output, ReplacesAFileAndKeepsItsPermissionsButSetUserId) {
  const TemporaryFolder folder;
  const std::string output = folder.Write("out", "old");
  ASSERT_EQ(::chmod(output.c_str(), 04640), 0);
  ASSERT_EQ(Cmnsys({"encode", "Gid", "-", "-o", output}, "id: 'x'").status, 0);
  EXPECT_EQ(ReadFile(output), "\x0a\x01x");
  struct stat status = {};
  ASSERT_EQ(::stat(output.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST(Output, FollowsLinks) {
  const TemporaryFolder folder;
  const std::string target = folder.Write("target", "old");
  const std::string link = folder.PathOf("link");
  const std::string dangling = folder.PathOf("dangling");
  ASSERT_EQ(::symlink("target", link.c_str()), 0);
  ASSERT_EQ(::symlink("made", dangling.c_str()), 0);
  for (const std::string& path : {link, dangling}) {
    ASSERT_EQ(Cmnsys({"encode", "Gid", "-", "-o", path}, "id: 'x'").status, 0);
  }
  EXPECT_EQ(ReadFile(target), "\x0a\x01x");
  EXPECT_EQ(ReadFile(folder.PathOf("made")), "\x0a\x01x");
  const std::string loop = folder.PathOf("loop");
  ASSERT_EQ(::symlink("loop", loop.c_str()), 0);
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "Gid", "-", "-o", loop}), "levels of symbolic links"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "Gid", "-", "-o", ""}), "cannot write "));
  const std::vector<std::string> names = {"dangling", "link", "loop", "made", "target"};
  EXPECT_EQ(folder.Names(), names);
}

TEST(Output, GoesToDescriptorsAndPipesInPlace) {
  const TemporaryFolder folder;
  const std::string log = folder.Write("log", "before\n");
  const std::string list = "$CMNSYS convert Gid /dev/null --to jsonl -o ";
  ASSERT_EQ(Shell(list + "/dev/stdout >> " + log).status, 0);
  ASSERT_EQ(Shell(list + "/proc/self/fd/7 7>> " + log).status, 0);
  EXPECT_EQ(ReadFile(log), "before\n{}\n{}\n");
  const std::string pipe = folder.PathOf("pipe");
  EXPECT_EQ(Shell("mkfifo " + pipe + "; " + list + pipe + " & cat " + pipe).output, "{}\n");
  EXPECT_EQ(folder.Names(), (std::vector<std::string>{"log", "pipe"}));
}

}  // namespace
}  // namespace CmnSys::Test
