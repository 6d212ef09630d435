// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

namespace Tessaly::Tests {

/// A program that a test starts. It ends with the test at the latest.
class Process {
 public:
  Process() = default;
  /// Standard output and error go to the file. With a user, the program runs as that user, and in the group of the same
  /// number.
  explicit Process(std::vector<std::string> arguments, const std::string& output = "/dev/null", uid_t user = 0) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ != 0) return;
    const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    ::dup2(file, STDOUT_FILENO);
    ::dup2(file, STDERR_FILENO);
    if (user != 0 && (::setgroups(0, nullptr) != 0 || ::setgid(user) != 0 || ::setuid(user) != 0)) ::_exit(126);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // A change of the user would reset it.
    ::execvp(pointers[0], pointers.data());
    ::_exit(127);
  }
  Process(Process&& other) noexcept : pid_(std::exchange(other.pid_, 0)) {}
  Process& operator=(Process&& other) noexcept {
    std::swap(pid_, other.pid_);
    return *this;
  }
  ~Process() { end(); }

  [[nodiscard]] pid_t identifier() const { return pid_; }
  void signal(int number) const { ::kill(pid_, number); }
  void end() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = 0;
  }
  /// Waits until the program ends by itself. Returns its status as from `waitpid`.
  int waitStatus() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = 0;
    return status;
  }
  /// Waits until the program ends by itself. Returns its exit status, or -1 if a signal ended it.
  int wait() {
    const int status = waitStatus();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = 0;
};

}  // namespace Tessaly::Tests
