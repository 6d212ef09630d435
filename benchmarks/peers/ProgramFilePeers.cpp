// SPDX-License-Identifier: MIT
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "FilePeers.hpp"

namespace Tessaly::Benchmarks::FilePeers {
namespace {

/// A program whose output is read through a pipe.
class Program {
 public:
  explicit Program(std::vector<std::string> words, int output = STDOUT_FILENO) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("There is no pipe");
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    if (output != STDOUT_FILENO) ::posix_spawn_file_actions_adddup2(&actions, ends[1], output);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int status = ::posix_spawnp(&process_, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    pipe_ = ::fdopen(ends[0], "r");
    if (status != 0) throw std::runtime_error("Cannot run " + words[0]);
  }
  ~Program() {
    std::fclose(pipe_);
    ::waitpid(process_, nullptr, 0);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// The next line without its end. Empty at the end of the output.
  std::string line() {
    std::array<char, 1024> text{};
    if (std::fgets(text.data(), text.size(), pipe_) == nullptr) return {};
    std::string found = text.data();
    if (found.ends_with('\n')) found.pop_back();
    return found;
  }
  void end() const { ::kill(process_, SIGTERM); }

 private:
  pid_t process_ = 0;
  FILE* pipe_ = nullptr;
};

class InotifyWait final : public Lister {
 public:
  explicit InotifyWait(const std::string& directory)
      : program_(
            {"inotifywait", "--monitor", "--event", "create,modify,attrib,delete,move", "--format", "%f", directory},
            STDERR_FILENO) {
    // The program writes a line with this word when its watches stand.
    while (program_.line().find("established") == std::string::npos) {
    }
    thread_ = std::thread([this] {
      for (std::string name = program_.line(); !name.empty(); name = program_.line()) learnName(name);
    });
  }
  ~InotifyWait() override {
    program_.end();
    thread_.join();
  }

 private:
  Program program_;
  std::thread thread_;
};

}  // namespace

std::shared_ptr<Observer> inotifywait(const std::string& directory) { return std::make_shared<InotifyWait>(directory); }

std::string digestProgram(const std::string& file, std::string_view method) {
  const std::string line = Program({std::string(method) + "sum", file}).line();
  return line.substr(0, line.find(' '));
}

}  // namespace Tessaly::Benchmarks::FilePeers
