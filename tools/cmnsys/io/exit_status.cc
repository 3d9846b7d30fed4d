#include "io/exit_status.h"

namespace CmnSys::Tool {

const char kExitStatusHelp[] =
    "Exit status:\n"
    "  0  done; the answer, where there is one, is a yes\n"
    "  1  the answer is a no: differences, violations, nothing that fits or matches\n"
    "  2  could not be done: a wrong command line, input or output that fails\n"
    "  3  no server could be reached\n"
    "  4  a server, or TLS, refused the caller\n"
    "  5  a server answered a call with an error, or not in time";

}  // namespace CmnSys::Tool
