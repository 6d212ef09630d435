// SPDX-License-Identifier: MIT
#include "Commands.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace Tour {

CommandResult runCommand(std::vector<std::string> arguments) {
  CommandResult result{-1, {}};
  std::array<int, 2> pipe{};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) return result;
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
    ::posix_spawn_file_actions_adddup2(&actions, pipe[1], output);
  }
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  pid_t process = 0;
  const bool hasStarted = ::posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ) == 0;
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(pipe[1]);
  std::array<char, 4096> buffer{};
  ssize_t count = 0;
  while (hasStarted && (count = ::read(pipe[0], buffer.data(), buffer.size())) > 0) {
    result.output.append(buffer.data(), static_cast<std::size_t>(count));
  }
  ::close(pipe[0]);
  if (!hasStarted) return result;
  int status = 0;
  if (::waitpid(process, &status, 0) == process && WIFEXITED(status)) result.status = WEXITSTATUS(status);
  if (result.output.ends_with('\n')) result.output.pop_back();
  return result;
}

}  // namespace Tour
