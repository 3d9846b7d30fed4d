// The manual page and the shell completions, which cmnsys makes of its own command line.

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "cmnsys/cmnsys_tool.h"

namespace CmnSys::Test {
namespace {

std::string ManualPage() { return Cmnsys({"__manual"}).output; }

// What the group of the pattern matches, throughout the text.
std::vector<std::string> Matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  std::vector<std::string> matches;
  for (std::sregex_iterator i(text.begin(), text.end(), regex), end; i != end; ++i) {
    matches.push_back((*i)[1]);
  }
  return matches;
}

// The names of commands that the help of the program shows.
std::vector<std::string> Commands() {
  const std::string help = Cmnsys({"--help"}).output;
  return Matches(help.substr(help.find("Subcommands:")), "\n  ([a-z]+) ");
}

// The words that bash offers for a command line that ends at the cursor.
std::vector<std::string> BashOffers(const std::string& words) {
  const ProcessResult ran = Run({"bash", "-c",
                                 "source " CMNSYS_BASH_COMPLETION "; COMP_WORDS=(cmnsys " + words +
                                     "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
                                     "_cmnsys " CMNSYS_TOOL "; "
                                     "printf '%s\\n' \"${COMPREPLY[@]}\""});
  EXPECT_EQ(ran.errors, "") << words;
  return Matches(ran.output, "([^\n]+)");
}

TEST(HelpAndCompletion, NameEveryCommandAndOption) {
  const std::string page = std::regex_replace(ManualPage(), std::regex(R"(\\-)"), "-");
  ASSERT_GT(Commands().size(), 9U);
  for (const std::string& command : Commands()) {
    const std::size_t section = page.find("\n.SS cmnsys " + command + " [OPTIONS]");
    ASSERT_NE(section, std::string::npos) << command;
    const std::string body = page.substr(section, page.find("\n.SS ", section + 1) - section);
    const std::vector<std::string> offers = BashOffers(command + " --");
    const std::vector<std::string> options =
        Matches(Cmnsys({command, "--help"}).output, "\n  (?:-[a-z],)?(--[a-z-]+)");
    ASSERT_FALSE(options.empty()) << command;
    for (const std::string& option : options) {
      EXPECT_NE(body.find("\\fB" + option + "\\fR"), std::string::npos) << command << option;
      EXPECT_EQ(std::count(offers.begin(), offers.end(), option), 1) << command << option;
    }
  }
}

TEST(ManualPage, HasNoDateAndKeepsBackslashesAndLinesOfExamples) {
  const std::string page = ManualPage();
  EXPECT_EQ(page.find(".TH CMNSYS 1 \"\" "), 0U) << page;
  EXPECT_NE(page.find("\nprintf '\\e012\\e002\\e001\\e002\\e070\\e002' | cmnsys decode Gid\n.fi\n"),
            std::string::npos);
  // No line of text is taken for a request.
  EXPECT_EQ(Matches(page, "\n((?:'|\\.(?!(?:SH|SS|TP|PP|RS 2|RE|nf|fi)\\b)).*)"),
            std::vector<std::string>());
}

TEST(BashCompletion, OffersWhatTheArgumentTakes) {
  const std::vector<std::string> commands = Commands();
  EXPECT_EQ(BashOffers("''"), commands);
  std::vector<std::string> methods;  // Offered where cmnsys is built with calls.
  if (std::count(commands.begin(), commands.end(), "call") != 0) {
    methods = {"Pb.Rpc.SvcQuery.Query/Initiate"};
  }
  const std::string completion = CMNSYS_BASH_COMPLETION;
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"convert --from del", {"delimited", "delimited-hex"}},
      {"convert --from = j", {"json", "jsonl"}},
      {"convert -f json Pb.CmnSys.Gid", {"Pb.CmnSys.Gid"}},
      {"--color always decode Pb.CmnSys.Events.EventL", {"Pb.CmnSys.Events.EventList"}},
      {"describe EVENT_DEVICE_MOTION_STAR", {"EVENT_DEVICE_MOTION_START"}},
      {"check Gid - - " + completion.substr(0, completion.size() - 1), {completion}},
      {"sample Gid --seed ''", {}},
      {"call Pb.Rpc.SvcQuery.Query/I", methods},
  };
  for (const auto& [words, offers] : cases) EXPECT_EQ(BashOffers(words), offers) << words;
}

}  // namespace
}  // namespace CmnSys::Test
