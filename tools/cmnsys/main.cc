// cmnsys: shows, reads and writes the messages of the system.
//
// Exit status: 0 done; 1 bad input, a failed operation or an answer that is a no; 2 a command line
// that is not understood.

#include <google/protobuf/stubs/logging.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "commands.h"
#include "failure.h"

namespace {

int Main(int argc, char* argv[]) {
  CLI::App app("Shows, reads and writes the messages of the system.", "cmnsys");
  app.set_version_flag("--version", "cmnsys " CMNSYS_VERSION);
  app.require_subcommand(1);
  app.get_formatter()->column_width(28);
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
  app.footer("Each command explains itself: cmnsys COMMAND --help");
  try {
    app.parse(argc, argv);
    return 0;
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  } catch (const CmnSys::Tool::NegativeResult&) {
    return 1;
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  // Commands report what is wrong themselves; the runtime's own log would only repeat it.
  google::protobuf::SetLogHandler(nullptr);
  try {
    return Main(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "cmnsys: %s\n", error.what());
    return 1;
  }
}
