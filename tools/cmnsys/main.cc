// cmnsys: shows, reads and writes the messages of the system.
//
// Exit status: 0 done; 1 bad input or a failed operation; 2 a command line that is not understood.

#include <google/protobuf/stubs/logging.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <iostream>

#include "commands.h"
#include "failure.h"

int main(int argc, char* argv[]) {
  // Commands report what is wrong themselves; the runtime's own log would only repeat it.
  google::protobuf::SetLogHandler(nullptr);

  CLI::App app("Shows, reads and writes the messages of the system.", "cmnsys");
  app.set_version_flag("--version", "cmnsys " CMNSYS_VERSION);
  app.require_subcommand(1);
  app.get_formatter()->column_width(28);
  CmnSys::Tool::AddListCommand(&app);
  CmnSys::Tool::AddDescribeCommand(&app);
  CmnSys::Tool::AddEncodeCommand(&app);
  CmnSys::Tool::AddDecodeCommand(&app);
  app.footer("Each command explains itself: cmnsys COMMAND --help");

  try {
    app.parse(argc, argv);
    return 0;
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  } catch (const CmnSys::Tool::Failure& failure) {
    std::cerr << "cmnsys: " << failure.what() << '\n';
  } catch (const std::exception& error) {
    std::cerr << "cmnsys: " << error.what() << '\n';
  }
  return 1;
}
