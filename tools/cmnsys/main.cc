// cmnsys: shows, reads and writes the messages of the system.

#include <google/protobuf/stubs/logging.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/options.h"
#include "help/completion.h"
#include "help/manual_page.h"
#include "io/exit_status.h"
#include "io/failure.h"
#include "io/output.h"

namespace {

using CmnSys::Tool::ExitStatus;

int Number(ExitStatus status) { return static_cast<int>(status); }

// What is wrong with the command line, and where to read more.
std::string Misunderstood(const CLI::App& app, const CLI::ParseError& error) {
  const auto commands = app.get_subcommands();
  const std::string program =
      commands.empty() ? "cmnsys" : "cmnsys " + commands.front()->get_name();
  const std::vector<std::string> unknown = app.remaining(true);
  std::string text = error.what();
  if (!unknown.empty()) {
    const std::string& word = unknown.front();
    const std::string kind = word.front() == '-' ? "option" : commands.empty() ? "command" : "";
    text = kind.empty() ? word + " is an argument too many" : "there is no " + kind + " " + word;
  } else if (commands.empty() && error.get_name() == "RequiredError") {
    text = "a command is required";
  }
  return text + "; \"" + program + " --help\" tells more";
}

// Thrown by --generate.
struct Generated {
  std::string text;
};

// Adds the hidden option with which the build makes the manual page and the shell completions.
void AddGenerateOption(CLI::App* app) {
  app->add_option_function<std::string>(
         "--generate",
         [app](const std::string& kind) {
           throw Generated{kind == "man"    ? CmnSys::Tool::ManualPage(*app)
                           : kind == "bash" ? CmnSys::Tool::BashCompletion(*app)
                                            : CmnSys::Tool::ZshCompletion(*app)};
         })
      ->check(CLI::IsMember({"man", "bash", "zsh"}))
      ->group("");
}

int Main(int argc, char* argv[]) {
  CLI::App app("Shows, reads and writes the messages of the system.", "cmnsys");
  app.set_version_flag("--version", "cmnsys " CMNSYS_VERSION);
  app.require_subcommand(1);
  app.get_formatter()->column_width(28);
  app.fallthrough();
  CmnSys::Tool::AddColour(&app);
  AddGenerateOption(&app);
  CmnSys::Tool::AddListCommand(&app);
  CmnSys::Tool::AddDescribeCommand(&app);
  CmnSys::Tool::AddEncodeCommand(&app);
  CmnSys::Tool::AddDecodeCommand(&app);
  CmnSys::Tool::AddCheckCommand(&app);
  CmnSys::Tool::AddConvertCommand(&app);
  CmnSys::Tool::AddDiffCommand(&app);
  CmnSys::Tool::AddGuessCommand(&app);
  CmnSys::Tool::AddSizeCommand(&app);
  CmnSys::Tool::AddSampleCommand(&app);
  CmnSys::Tool::AddCallCommand(&app);
  app.footer(std::string("Each command explains itself: cmnsys COMMAND --help\n\n") +
             CmnSys::Tool::kExitStatusHelp);
  try {
    app.parse(argc, argv);
    return 0;
  } catch (const Generated& generated) {
    CmnSys::Tool::WriteOutput({}, generated.text, CmnSys::Tool::OutputKind::kText);
    return 0;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help and --version
    CmnSys::Tool::PrintError(Misunderstood(app, error));
    return Number(ExitStatus::kTrouble);
  } catch (const CmnSys::Tool::Ended& ended) {
    return Number(ended.status());
  } catch (const CmnSys::Tool::Failure& failure) {
    CmnSys::Tool::PrintError(failure.what());
    return Number(failure.status());
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  // Commands report what is wrong themselves; the runtime's own log would only repeat it.
  google::protobuf::SetLogHandler(nullptr);
  try {
    return Main(argc, argv);
  } catch (const std::exception& error) {
    CmnSys::Tool::PrintError(error.what());
    return Number(ExitStatus::kTrouble);
  }
}
