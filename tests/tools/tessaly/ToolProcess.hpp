// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "tests/Support/ContentsOf.hpp"

namespace Tessaly::Tests {

/// A running `tessaly`. Its output and its errors go to two files. The destructor ends it.
class ToolProcess {
 public:
  ToolProcess(std::vector<std::string> arguments, std::string outputFile)
      : outputFile_(std::move(outputFile)), process_(::fork()) {
    if (process_ != 0) return;
    const std::string program = std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly";
    const int flags = O_WRONLY | O_CREAT | O_TRUNC;
    const int output = ::open(outputFile_.c_str(), flags, 0600);
    const int errors = ::open((outputFile_ + ".errors").c_str(), flags, 0600);
    if (::dup2(output, STDOUT_FILENO) < 0 || ::dup2(errors, STDERR_FILENO) < 0) ::_exit(126);
    arguments.insert(arguments.begin(), program);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    ::execv(program.c_str(), pointers.data());
    ::_exit(127);
  }
  ToolProcess(const ToolProcess&) = delete;
  ToolProcess& operator=(const ToolProcess&) = delete;
  ~ToolProcess() {
    if (process_ > 0) static_cast<void>(end(SIGKILL));
  }

  [[nodiscard]] std::string output() const { return contentsOf(outputFile_); }
  [[nodiscard]] std::string errors() const { return contentsOf(outputFile_ + ".errors"); }

  /// Sends a signal and waits for the end. Returns the exit status, or -1 if the signal ended the process.
  int end(int signal) {
    ::kill(process_, signal);
    int status = 0;
    ::waitpid(std::exchange(process_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  const std::string outputFile_;
  pid_t process_;
};

}  // namespace Tessaly::Tests
