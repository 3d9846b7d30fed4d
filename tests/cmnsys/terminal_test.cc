// What cmnsys shows at a terminal and nowhere else: colours and the progress of long work.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "cmnsys/cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

// Runs a shell command with a terminal as its standard input, output and error. $CMNSYS is the
// tool.
std::string AtATerminal(const std::string& command) {
  return Run({"env", "TERM=xterm", "CMNSYS=" CMNSYS_TOOL, "script", "-qec", command, "/dev/null"},
             "")
      .output;
}

bool HasEscapes(const std::string& text) { return text.find('\x1b') != std::string::npos; }

TEST(Colours, AreThereOnDemandAndNotInAPipe) {
  struct Case {
    std::vector<std::string> arguments;
    const char* input;
    const char* expected;  // With --color=always.
  };
  for (auto [arguments, input, expected] : {
           Case{{"describe", "Gid"}, "", "\x1b[36mdata_store_id\x1b[0m  "},
           Case{{"decode", "Gid"}, "\x38\x02\x80\x10\x07", "\n\x1b[33m256: 7\x1b[0m\n"},
           Case{{"describe", "NoSuchName"}, "", "\x1b[31mcmnsys:\x1b[0m there is no "},
       }) {
    const ProcessResult plain = Cmnsys(arguments, input);
    EXPECT_FALSE(HasEscapes(plain.output + plain.errors)) << plain.output << plain.errors;
    arguments.emplace_back("--color=always");
    const ProcessResult coloured = Cmnsys(arguments, input);
    const std::string shown = coloured.output + coloured.errors;
    EXPECT_NE(shown.find(expected), std::string::npos) << shown;
    EXPECT_EQ(coloured.status, plain.status);
  }
}

TEST(Colours, AreThereAtATerminalUnlessTheyAreNotWanted) {
  EXPECT_TRUE(HasEscapes(AtATerminal("$CMNSYS describe Gid")));
  for (const std::string command :
       {"NO_COLOR=1 $CMNSYS", "TERM=dumb $CMNSYS", "$CMNSYS --color never"}) {
    const std::string shown = AtATerminal(command + " describe Gid");
    EXPECT_FALSE(HasEscapes(shown)) << command;
    EXPECT_NE(shown.find("data_store_id"), std::string::npos) << command << shown;
  }
}

TEST(Colours, DoNotGetIntoFiles) {
  const TemporaryFolder folder;
  const std::string path = folder.PathOf("gid.txt");
  Cmnsys({"decode", "Gid", "--output", path, "--color=always"}, "\x38\x02\x80\x10\x07");
  EXPECT_EQ(ReadFile(path), "type: GID_TYPE_SERVER\n256: 7\n");
}

TEST(ProgressBar, ShowsOnLongWorkAtATerminalAndGoesAway) {
  const TemporaryFolder folder;
  std::string stream;
  while (stream.size() < 1200 << 10) stream += std::string("\x02\x38\x02", 3);
  const std::string path = folder.Write("gids.delimited", stream);
  // The pause makes the work long.
  const std::string slow = "(cat " + path + "; sleep 1.1; cat " + path + ") | ";
  const std::string shown = AtATerminal(slow + "$CMNSYS check Gid -f delimited");
  EXPECT_NE(shown.find(" MiB\x1b[K"), std::string::npos) << shown;
  EXPECT_NE(shown.find("\r\x1b[K"), std::string::npos) << shown;
  const std::string piped =
      AtATerminal(slow + "$CMNSYS size Gid -f delimited 2>" + folder.PathOf("errors"));
  EXPECT_EQ(ReadFile(folder.PathOf("errors")), "");
  EXPECT_FALSE(HasEscapes(piped));
}

TEST(CommandLine, HintsAtWhatWasMeant) {
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid"}, "0a 02 01 02\n"), "--from hex"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "Gid"}, "{\"type\": 2}"), "--from json"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid"}, "\4\12\2ab\2\x38\2"), "of 2 records"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid"}, std::string("\0\0\0\0\2\x38\2", 7)), "gRPC"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"describe", "5013"}), "\"cmnsys describe EventType\""));
}

TEST(CommandLine, ErrorsNameWhatIsNotUnderstood) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"recode"}, "cmnsys: there is no command recode; \"cmnsys --help\" tells more\n"},
      {{"decode", "--from=hex"},
       "cmnsys: there is no option --from=hex; \"cmnsys decode --help\" tells more\n"},
      {{"decode"}, "cmnsys: TYPE is required; \"cmnsys decode --help\" tells more\n"},
  };
  for (const auto& [arguments, error] : cases) {
    const ProcessResult ran = Cmnsys(arguments);
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.errors, error);
  }
}

}  // namespace
}  // namespace CmnSys::Test
