// How cmnsys ends. Each status means the same in every command.

#ifndef CMNSYS_TOOLS_IO_EXIT_STATUS_H_
#define CMNSYS_TOOLS_IO_EXIT_STATUS_H_

namespace CmnSys::Tool {

enum class ExitStatus {
  // The command did what was asked, and the answer, where there is one, is a yes.
  kDone = 0,
  // The command did its work and the answer is a no: differences, violations, nothing that fits or
  // matches, a server that does not serve.
  kNo = 1,
  // The command could not do its work: a command line that is not understood, input that cannot be
  // read or parsed, output that cannot be written. Stronger than kNo when both hold.
  kTrouble = 2,
  // No server could be reached, or the connection broke before an answer came.
  kNotReached = 3,
  // A server, or TLS on either side, refused the caller: who it is, or what it may do.
  kRefused = 4,
  // A server was reached and answered a call with an error, or not in time.
  kCallFailed = 5,
};

// The statuses for help texts, the manual page included.
extern const char kExitStatusHelp[];

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_EXIT_STATUS_H_
