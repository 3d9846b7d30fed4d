// cmnsys: shows, reads and writes the messages of the system.

#include <fcntl.h>
#include <google/protobuf/stubs/logging.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "command_line/program.h"
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

int Main(int argc, char* argv[]) {
  using CmnSys::Tool::OutputKind;
  CmnSys::Tool::Program program("cmnsys", CMNSYS_VERSION,
                                "Shows, reads and writes the messages of the system.");
  CmnSys::Tool::Command root = program.root();
  CmnSys::Tool::AddColour(root);
  for (const auto add : {
           CmnSys::Tool::AddListCommand,
           CmnSys::Tool::AddDescribeCommand,
           CmnSys::Tool::AddEncodeCommand,
           CmnSys::Tool::AddDecodeCommand,
           CmnSys::Tool::AddCheckCommand,
           CmnSys::Tool::AddConvertCommand,
           CmnSys::Tool::AddDiffCommand,
           CmnSys::Tool::AddFilterCommand,
           CmnSys::Tool::AddGuessCommand,
           CmnSys::Tool::AddSizeCommand,
           CmnSys::Tool::AddSampleCommand,
#ifdef CMNSYS_RPC
           CmnSys::Tool::AddCallCommand,
           CmnSys::Tool::AddSubscribeCommand,
           CmnSys::Tool::AddHealthCommand,
#endif
       }) {
    add(root);
  }
  root.Footer(std::string("Each command explains itself: cmnsys COMMAND --help\n\n") +
              CmnSys::Tool::kExitStatusHelp);
  // Asked by the shells and by the build.
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (!words.empty() && words[0] == "__complete") {
    CmnSys::Tool::WriteOutput(
        {}, CmnSys::Tool::Complete(program.Describe(), {words.begin() + 1, words.end()}),
        OutputKind::kText);
    return Number(ExitStatus::kDone);
  }
  if (words == std::vector<std::string>{"__manual"}) {
    CmnSys::Tool::WriteOutput({}, CmnSys::Tool::ManualPage(program.Describe()), OutputKind::kText);
    return Number(ExitStatus::kDone);
  }
  try {
    if (const auto text = program.Run(argc, argv)) {
      CmnSys::Tool::WriteOutput({}, *text, OutputKind::kText);
    }
    return Number(ExitStatus::kDone);
  } catch (const CmnSys::Tool::Ended& ended) {
    return Number(ended.status());
  } catch (const CmnSys::Tool::Failure& failure) {
    CmnSys::Tool::PrintError(failure.what());
    return Number(failure.status());
  }
}

// A descriptor below 3 that is closed would be given to the next file that is opened. What takes
// its place fails as the closed one would. One that is closed on exec was not given to this
// process: gRPC's library leaves an eventfd at 0 where that is free.
void OccupyStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const int flags = ::fcntl(descriptor, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) continue;
    ::close(descriptor);
    ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
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
