// cmnsys: shows, reads and writes the messages of the system.

#include <fcntl.h>
#include <google/protobuf/stubs/logging.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <sstream>
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

int Main(int argc, char* argv[]) {
  CLI::App app("Shows, reads and writes the messages of the system.", "cmnsys");
  app.set_version_flag("--version", "cmnsys " CMNSYS_VERSION);
  app.require_subcommand(1);
  app.get_formatter()->column_width(28);
  app.fallthrough();
  CmnSys::Tool::AddColour(&app);
  CmnSys::Tool::AddListCommand(&app);
  CmnSys::Tool::AddDescribeCommand(&app);
  CmnSys::Tool::AddEncodeCommand(&app);
  CmnSys::Tool::AddDecodeCommand(&app);
  CmnSys::Tool::AddCheckCommand(&app);
  CmnSys::Tool::AddConvertCommand(&app);
  CmnSys::Tool::AddDiffCommand(&app);
  CmnSys::Tool::AddFilterCommand(&app);
  CmnSys::Tool::AddGuessCommand(&app);
  CmnSys::Tool::AddSizeCommand(&app);
  CmnSys::Tool::AddSampleCommand(&app);
#ifdef CMNSYS_RPC
  CmnSys::Tool::AddCallCommand(&app);
  CmnSys::Tool::AddSubscribeCommand(&app);
  CmnSys::Tool::AddHealthCommand(&app);
#endif
  app.footer(std::string("Each command explains itself: cmnsys COMMAND --help\n\n") +
             CmnSys::Tool::kExitStatusHelp);
  // Asked by the shells and by the build.
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (!words.empty() && words[0] == "__complete") {
    CmnSys::Tool::WriteOutput({}, CmnSys::Tool::Complete(app, {words.begin() + 1, words.end()}),
                              CmnSys::Tool::OutputKind::kText);
    return Number(ExitStatus::kDone);
  }
  if (words == std::vector<std::string>{"__manual"}) {
    CmnSys::Tool::WriteOutput({}, CmnSys::Tool::ManualPage(app), CmnSys::Tool::OutputKind::kText);
    return Number(ExitStatus::kDone);
  }
  try {
    app.parse(argc, argv);
    return 0;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {  // --help and --version
      std::ostringstream text;
      app.exit(error, text, text);
      CmnSys::Tool::WriteOutput({}, text.str(), CmnSys::Tool::OutputKind::kText);
      return Number(ExitStatus::kDone);
    }
    CmnSys::Tool::PrintError(Misunderstood(app, error));
    return Number(ExitStatus::kTrouble);
  } catch (const CmnSys::Tool::Ended& ended) {
    return Number(ended.status());
  } catch (const CmnSys::Tool::Failure& failure) {
    CmnSys::Tool::PrintError(failure.what());
    return Number(failure.status());
  }
}

// A descriptor below 3 that is closed would be given to the next file that is opened. What takes
// its place fails as the closed one would.
void OccupyStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) < 0) {
      ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

// Threads of gRPC that get no memory end the process.
[[noreturn]] void EndWithoutMemory() {
  try {
    if (const std::exception_ptr exception = std::current_exception()) {
      std::rethrow_exception(exception);
    }
  } catch (const std::bad_alloc&) {
    CmnSys::Tool::PrintError("out of memory");
    std::_Exit(Number(ExitStatus::kTrouble));
  } catch (...) {
  }
  std::abort();
}

}  // namespace

int main(int argc, char* argv[]) {
  OccupyStandardDescriptors();
  // Output that fails is reported like anything else that fails.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  // Commands report what is wrong themselves; the runtime's own log would only repeat it.
  google::protobuf::SetLogHandler(nullptr);
  std::set_terminate(EndWithoutMemory);
  try {
    return Main(argc, argv);
  } catch (const std::bad_alloc&) {
    CmnSys::Tool::PrintError("out of memory; --max-bytes limits what a message may take");
    return Number(ExitStatus::kTrouble);
  } catch (const std::exception& error) {
    CmnSys::Tool::PrintError(error.what());
    return Number(ExitStatus::kTrouble);
  }
}
