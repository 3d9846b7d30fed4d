// The manual page and the shell completions that cmnsys makes of its own command line.

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "cmnsys/cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

std::string Generated(const std::string& kind) { return Cmnsys({"--generate", kind}).output; }

// The names of commands that the help of the program shows.
std::vector<std::string> Commands() {
  std::vector<std::string> commands;
  const std::string help = Cmnsys({"--help"}).output;
  std::istringstream lines(help.substr(help.find("Subcommands:")));
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line) && !line.empty()) {
    commands.push_back(line.substr(2, line.find(' ', 2) - 2));
  }
  return commands;
}

// The long options that the help of a command shows.
std::vector<std::string> OptionsOf(const std::string& command) {
  const std::string help = Cmnsys({command, "--help"}).output;
  static const std::regex kOption("\n  (?:-[a-z],)?(--[a-z-]+)");
  std::vector<std::string> options;
  for (std::sregex_iterator i(help.begin(), help.end(), kOption), end; i != end; ++i) {
    options.push_back((*i)[1]);
  }
  return options;
}

// The words that bash offers for a command line that ends at the cursor.
std::vector<std::string> BashOffers(const std::string& words) {
  static const std::string kScript = Generated("bash");
  const TemporaryFolder folder;
  const std::string script = folder.Write("completion", kScript);
  const ProcessResult ran = Run({"bash", "-c",
                                 "PATH=$(dirname " CMNSYS_TOOL "):$PATH; source " + script +
                                     "; COMP_WORDS=(cmnsys " + words +
                                     "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _cmnsys; "
                                     "printf '%s\\n' \"${COMPREPLY[@]}\""});
  EXPECT_EQ(ran.errors, "") << words;
  std::vector<std::string> offers;
  std::istringstream lines(ran.output);
  for (std::string line; std::getline(lines, line);) offers.push_back(line);
  return offers;
}

TEST(ManualPage, IsWellFormedAndNamesEveryCommandAndOption) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("cmnsys.1", Generated("man"));
  const ProcessResult lint = CmnSys::Test::Run({"mandoc", "-T", "lint", "-W", "warning", path});
  // It is the same whenever it is built, so it has no date.
  EXPECT_NE(lint.output.find("missing date"), std::string::npos) << lint.output;
  EXPECT_EQ(std::count(lint.output.begin(), lint.output.end(), '\n'), 1) << lint.output;

  const std::string page =
      CmnSys::Test::Run({"mandoc", "-T", "ascii", "-O", "width=200", path}).output;
  const std::string text = std::regex_replace(page, std::regex(".\x08"), "");
  ASSERT_GT(Commands().size(), 9U);
  for (const std::string& command : Commands()) {
    const std::size_t section = text.find("\n   cmnsys " + command + " [OPTIONS]");
    ASSERT_NE(section, std::string::npos) << command;
    const std::string body = text.substr(section, text.find("\n   cmnsys ", section + 1) - section);
    for (const std::string& option : OptionsOf(command)) {
      EXPECT_NE(body.find(option), std::string::npos) << command << " " << option;
    }
  }
  // Examples keep their backslashes and line breaks.
  EXPECT_NE(text.find("\n         printf '\\012\\002\\001\\002\\070\\002' | cmnsys decode Gid\n"),
            std::string::npos);
}

TEST(BashCompletion, OffersWhatTheArgumentTakes) {
  EXPECT_EQ(BashOffers("''"), Commands());
  const struct {
    const char* words;
    std::vector<std::string> offers;
  } kCases[] = {
      {"des", {"describe"}},
      {"convert --fr", {"--from"}},
      {"convert --from del", {"delimited", "delimited-hex"}},
      {"convert --from = j", {"json"}},
      {"convert -f json Pb.CmnSys.Gid", {"Pb.CmnSys.Gid"}},
      {"convert --compact EventDeviceMotionStar", {"EventDeviceMotionStart"}},
      {"--color always decode Pb.CmnSys.Events.EventL", {"Pb.CmnSys.Events.EventList"}},
      {"size Gid --color n", {"never"}},
      {"describe GID_TYPE_SERVER_", {}},
      {"describe EVENT_DEVICE_MOTION_STAR", {"EVENT_DEVICE_MOTION_START"}},
      {"diff Gid /etc/hostnam", {"/etc/hostname"}},
      {"check Gid - - - - - - - - - - /etc/hostnam", {"/etc/hostname"}},
      {"sample Gid --seed ''", {}},
  };
  for (const auto& one : kCases) {
    std::vector<std::string> offers = BashOffers(one.words);
    if (offers == std::vector<std::string>{""}) offers.clear();
    EXPECT_EQ(offers, one.offers) << one.words;
  }
}

TEST(BashCompletion, OffersEveryOption) {
  for (const std::string& command : Commands()) {
    const std::vector<std::string> offers = BashOffers(command + " --");
    for (const std::string& option : OptionsOf(command)) {
      EXPECT_EQ(std::count(offers.begin(), offers.end(), option), 1) << command << " " << option;
    }
  }
}

// zsh itself asks for the completion, at a terminal of its own.
TEST(ZshCompletion, OffersWhatTheArgumentTakes) {
  const TemporaryFolder folder;
  folder.Write("_cmnsys", Generated("zsh"));
  const std::string script = folder.Write("ask.zsh", R"zsh(
path=($2 $path)
zmodload zsh/zpty
zpty shell TERM=dumb zsh -f -i
zpty -w shell "PS1='REA''DY>'; fpath=($1 \$fpath); autoload -U compinit; compinit -u -D; LISTMAX=10000"
zpty -r -m shell answer '*READY>*'
zpty -w -n shell "$3"$'\t'
zpty -w -n shell $'\C-Uprint DO\'\'NE\n'
zpty -r -m shell answer '*DONE*'
print -r -- "$answer"
)zsh");
  const auto completed = [&folder, &script](const std::string& line) {
    const std::string tool = CMNSYS_TOOL;
    return CmnSys::Test::Run(
               {"zsh", "-f", script, folder.path(), tool.substr(0, tool.rfind('/')), line})
        .output;
  };
  const struct {
    const char* line;
    const char* whole;
  } kCases[] = {
      {"cmnsys descr", "cmnsys describe "},
      {"cmnsys convert Pb.CmnSys.Events.EventLis", "Pb.CmnSys.Events.EventList "},
      {"cmnsys convert Gid --enums-as-", "--enums-as-numbers "},
      {"cmnsys convert --from=delimited-", "--from=delimited-hex "},
      {"cmnsys check Gid /etc/hostnam", " /etc/hostname "},
  };
  for (const auto& one : kCases) {
    const std::string shown = completed(one.line);
    EXPECT_NE(shown.find(one.whole), std::string::npos) << shown;
  }
}

}  // namespace
}  // namespace CmnSys::Test
