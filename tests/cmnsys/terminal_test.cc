// What cmnsys shows at a terminal and nowhere else: colours and the progress of long work.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cmnsys/cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

// Runs a shell command with a terminal as its standard input, output and error. $CMNSYS is the
// tool.
std::string AtATerminal(const std::string& command) {
  const ProcessResult ran =
      Run({"env", "TERM=xterm", "CMNSYS=" CMNSYS_TOOL, "script", "-qec", command, "/dev/null"}, "");
  return ran.output;
}

bool HasEscapes(const std::string& text) { return text.find('\x1b') != std::string::npos; }

struct Coloured {
  const char* name;
  std::vector<std::string> arguments;
  const char* input;
  const char* expected;  // With --color=always.
};

class Colours : public ::testing::TestWithParam<Coloured> {};

TEST_P(Colours, AreThereOnDemandAndNotInAPipe) {
  const ProcessResult plain = Cmnsys(GetParam().arguments, GetParam().input);
  EXPECT_FALSE(HasEscapes(plain.output + plain.errors)) << plain.output << plain.errors;
  std::vector<std::string> arguments = GetParam().arguments;
  arguments.emplace_back("--color=always");
  const ProcessResult coloured = Cmnsys(arguments, GetParam().input);
  EXPECT_NE((coloured.output + coloured.errors).find(GetParam().expected), std::string::npos)
      << coloured.output << coloured.errors;
  EXPECT_EQ(coloured.status, plain.status);
}

INSTANTIATE_TEST_SUITE_P(
    Of, Colours,
    ::testing::Values(
        Coloured{"describe", {"describe", "Gid"}, "", "\x1b[36mdata_store_id\x1b[0m  "},
        Coloured{"check",
                 {"check", "Iota", "--from", "text"},
                 "type: IOTA_TYPE_U32",
                 "\x1b[31mpayload-missing\x1b[0m: "},
        Coloured{"diff",
                 {"diff", "Gid", "-", "/dev/null", "--left-format", "text"},
                 "id: '7'",
                 "\x1b[31mdeleted: id: \"7\"\x1b[0m\n"},
        Coloured{"decode", {"decode", "Gid"}, "\x38\x02\x80\x10\x07", "\n\x1b[33m256: 7\x1b[0m\n"},
        Coloured{"errors", {"describe", "NoSuchName"}, "", "\x1b[31mcmnsys:\x1b[0m there is no "}),
    [](const auto& name) { return std::string(name.param.name); });

TEST(ColoursAtATerminal, UnlessTheyAreNotWanted) {
  EXPECT_TRUE(HasEscapes(AtATerminal("$CMNSYS describe Gid")));
  for (const char* command :
       {"NO_COLOR=1 $CMNSYS describe Gid", "TERM=dumb $CMNSYS describe Gid",
        "$CMNSYS describe Gid --color=never", "$CMNSYS --color never describe Gid"}) {
    const std::string shown = AtATerminal(command);
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
  const std::string twice = folder.Write("twice.delimited", stream + stream);
  for (const std::string& command : {
           std::string("size Gid -f delimited"),
           std::string("check Gid -f delimited"),
           std::string("convert Gid -f delimited -t delimited -o /dev/null"),
           "diff Gid - " + twice + " --left-format delimited",
       }) {
    const std::string shown = AtATerminal(slow + "$CMNSYS " + command);
    EXPECT_NE(shown.find(" MiB\x1b[K"), std::string::npos) << command << shown;
    EXPECT_NE(shown.find("\r\x1b[K"), std::string::npos) << command << shown;
  }
  const std::string piped =
      AtATerminal(slow + "$CMNSYS size Gid -f delimited 2>" + folder.PathOf("errors"));
  EXPECT_EQ(ReadFile(folder.PathOf("errors")), "");
  EXPECT_FALSE(HasEscapes(piped));
}

TEST(CommandLine, HintsAtWhatWasMeant) {
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid"}, "0a 02 01 02\n"), "--from names them"));
  EXPECT_EQ(Cmnsys({"decode", "Gid"}, "\x0a\x80").errors.find("--from"), std::string::npos);
  EXPECT_TRUE(RefusedWith(Cmnsys({"describe", "5013"}), "\"cmnsys describe EventType\""));
}

TEST(CommandLine, ErrorsNameWhatIsNotUnderstood) {
  const struct {
    std::vector<std::string> arguments;
    const char* error;
  } kCases[] = {
      {{}, "cmnsys: a command is required; \"cmnsys --help\" tells more\n"},
      {{"recode"}, "cmnsys: there is no command recode; \"cmnsys --help\" tells more\n"},
      {{"decode", "--from=hex"},
       "cmnsys: there is no option --from=hex; \"cmnsys decode --help\" tells more\n"},
      {{"describe", "Gid", "Iota"},
       "cmnsys: Iota is an argument too many; \"cmnsys describe --help\" tells more\n"},
      {{"decode"}, "cmnsys: TYPE is required; \"cmnsys decode --help\" tells more\n"},
  };
  for (const auto& one : kCases) {
    const ProcessResult ran = Cmnsys(one.arguments);
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.errors, one.error);
  }
}

}  // namespace
}  // namespace CmnSys::Test
