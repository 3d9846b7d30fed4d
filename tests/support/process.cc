#include "support/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "support/files.h"

namespace CmnSys::Test {

ProcessResult Run(const std::vector<std::string>& command, std::string_view input) {
  // Files instead of pipes: no output of any size can block the process or the test.
  const TemporaryFolder folder;
  const std::string in = folder.Write("in", input);
  const std::string out = folder.PathOf("out");
  const std::string err = folder.PathOf("err");

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT, 0600);
  // What the test itself inherited would count towards the program's limits.
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);

  std::vector<char*> arguments;
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);

  pid_t pid = 0;
  const int error =
      ::posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot run " + command[0]);

  int status = 0;
  if (::waitpid(pid, &status, 0) != pid) throw std::runtime_error("lost " + command[0]);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), ReadFile(out),
          ReadFile(err)};
}

}  // namespace CmnSys::Test
