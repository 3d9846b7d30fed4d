#include "io/temporary_name.h"

#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstring>
#include <random>

namespace CmnSys::Tool {
namespace {

constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU};

// Read by the handler; empty when there is nothing to remove.
char removed_path[PATH_MAX] = "";

extern "C" void RemoveAndEnd(int signal) {
  ::unlink(removed_path);
  // The signal is blocked until this returns, and then ends the process as it would have done.
  ::signal(signal, SIG_DFL);
  ::raise(signal);
}

void SetPath(const std::string& path) {
  sigset_t ending;
  sigset_t before;
  sigemptyset(&ending);
  for (const int signal : kEndingSignals) sigaddset(&ending, signal);
  ::sigprocmask(SIG_BLOCK, &ending, &before);
  std::strncpy(removed_path, path.c_str(), sizeof removed_path - 1);
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

std::string NewTemporaryName(const std::string& folder) {
  constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  std::random_device random;
  std::string name = folder + "/.cmnsys-";
  for (int i = 0; i < 12; ++i) name += kLetters[random() % (sizeof kLetters - 1)];
  return name;
}

void RemoveWhenEnded(const std::string& path) {
  SetPath(path);
  for (const int signal : kEndingSignals) {
    struct sigaction action = {};
    ::sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_DFL) continue;  // nohup ignores SIGHUP, for example.
    action.sa_handler = RemoveAndEnd;
    ::sigaction(signal, &action, nullptr);
  }
}

void KeepWhenEnded() { SetPath(""); }

}  // namespace CmnSys::Tool
