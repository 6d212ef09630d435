// SPDX-License-Identifier: MIT
// tessaly_directory_costs [follower count]
//
// The cost of following a directory of files, for each follower and number of files: the time until it is followed, the
// memory, the open descriptors and the watches of the kernel. Prints a table. Each line is measured in a process of its
// own, which runs with the two arguments.
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "peers/DirectoryOfFiles.hpp"
#include "peers/FilePeers.hpp"

namespace {

using namespace Tessaly;
using Benchmarks::DirectoryOfFiles;
namespace FilePeers = Benchmarks::FilePeers;

struct Usage {
  long kibibytes = 0;
  long descriptors = 0;
  long watches = 0;
};

/// The resources of a process. The memory is that of the heap and the stacks.
Usage usageOf(const std::string& process) {
  Usage usage;
  std::ifstream status("/proc/" + process + "/status");
  for (std::string word; status >> word;) {
    if (word == "RssAnon:") status >> usage.kibibytes;
  }
  for (const auto& descriptor : std::filesystem::directory_iterator("/proc/" + process + "/fd")) {
    ++usage.descriptors;
    std::ifstream facts("/proc/" + process + "/fdinfo/" + descriptor.path().filename().string());
    for (std::string line; std::getline(facts, line);) usage.watches += line.starts_with("inotify wd:") ? 1 : 0;
  }
  return usage;
}

std::string childOfThisProcess() {
  std::ifstream children(fmt::format("/proc/self/task/{}/children", ::getpid()));
  std::string child;
  if (!(children >> child)) throw std::runtime_error("There is no other process");
  return child;
}

/// Our sequence after its first element.
std::shared_ptr<void> ourFollower(const std::string& path) {
  auto iterator = std::make_shared<DirectoryChanges::AsyncIterator>(
      directoryChanges(FileManager::default_(), URL::fileURLWithPath(path)).makeAsyncIterator());
  syncWait([&]() -> Async<void> { co_await iterator->next(); });
  return iterator;
}

std::shared_ptr<void> follow(std::string_view follower, const std::string& path) {
  if (follower == "ours") return ourFollower(path);
  if (follower == "GFileMonitor") return FilePeers::gFileMonitorOfDirectory(path);
  if (follower == "QFileSystemWatcher") return FilePeers::qFileSystemWatcherOfDirectory(path);
  if (follower == "QFileSystemWatcher of each file") return FilePeers::qFileSystemWatcherOfFiles(path);
  if (follower == "inotifywait") return FilePeers::inotifywait(path);
  throw std::runtime_error(fmt::format("There is no follower {}", follower));
}

void measure(std::string_view follower, int count) {
  const DirectoryOfFiles directory(count);
  const auto before = usageOf("self");
  const auto start = std::chrono::steady_clock::now();
  const auto followed = follow(follower, directory.path());
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
  const bool isProgram = follower == "inotifywait";
  const auto after = usageOf(isProgram ? childOfThisProcess() : "self");
  fmt::print("| {} | {} | {:.1f} | {} | {} | {} |\n", follower, count, time.count(),
             isProgram ? after.kibibytes : after.kibibytes - before.kibibytes,
             isProgram ? after.descriptors : after.descriptors - before.descriptors, after.watches - before.watches);
}

int measureAll(const char* program) {
  fmt::print("| follower | entries | ms until it is followed | memory in KiB | descriptors | watches |\n");
  fmt::print("| --- | ---: | ---: | ---: | ---: | ---: |\n");
  std::fflush(stdout);
  for (const char* const count : {"10", "10000", "100000"}) {
    for (const char* const follower :
         {"ours", "QFileSystemWatcher", "QFileSystemWatcher of each file", "GFileMonitor", "inotifywait"}) {
      const pid_t process = ::fork();
      if (process == 0) {
        ::execl(program, program, follower, count, nullptr);
        ::_exit(127);
      }
      int status = -1;
      if (::waitpid(process, &status, 0) != process || status != 0) return 1;
    }
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return measureAll("/proc/self/exe");
  measure(arguments[1], std::stoi(arguments[2]));
  return 0;
}
