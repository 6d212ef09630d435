// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

/// A program that writes while the test reads.
class Program {
 public:
  explicit Program(const std::vector<std::string>& arguments) : process_(::fork()) {
    if (process_ != 0) return;
    const int nothing = ::open("/dev/null", O_RDWR);
    for (int descriptor = 0; descriptor < 3; ++descriptor) ::dup2(nothing, descriptor);
    std::vector<char*> pointers;
    for (const auto& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    ::execvp(pointers[0], pointers.data());
    ::_exit(127);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() {
    if (!hasEnded()) ::waitpid(process_, &status_, 0);
  }

  [[nodiscard]] bool hasEnded() {
    if (!hasEnded_) hasEnded_ = ::waitpid(process_, &status_, WNOHANG) == process_;
    return hasEnded_;
  }
  [[nodiscard]] int exitStatus() const { return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1; }

 private:
  pid_t process_;
  int status_ = -1;
  bool hasEnded_ = false;
};

/// The open files of the process, except the directory that lists them.
std::multiset<std::string> openDescriptors() {
  std::multiset<std::string> open;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    const auto target = std::filesystem::read_symlink(entry.path(), ignored).string();
    if (!target.starts_with("/proc/")) open.insert(target);
  }
  return open;
}

/// Runs on two file systems: that of the build, and one in memory.
class FileChangesOn : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    struct statfs parent{};
    if (::statfs(GetParam(), &parent) != 0) GTEST_SKIP() << "there is no " << GetParam();
    folder_ = std::string(GetParam()) + "/tessaly-XXXXXX";
    ASSERT_NE(::mkdtemp(folder_.data()), nullptr);
    file_ = std::filesystem::canonical(folder_).string() + "/file";
    std::ofstream(file_) << "beginning";
  }
  void TearDown() override {
    if (!folder_.empty()) std::filesystem::remove_all(folder_);
  }

  [[nodiscard]] URL url() const { return URL::fileURLWithPath(file_); }
  /// The number of operations: all in memory, a tenth on a shared disk.
  [[nodiscard]] static std::string countOf(int number) {
    return std::to_string(
        std::string_view(GetParam()) == "/dev/shm" ? number : std::min(Tests::repetitions(number / 10), number));
  }

  /// Makes the runtime open the descriptors that it keeps.
  void warmUp() const {
    const FileChanges changes = fileChanges(FileManager::default_(), url());
    static_cast<void>(MainQueue::fileDescriptor());
    syncWait(Task<>::sleep(std::chrono::nanoseconds(1)));  // Starts the reactor.
  }
  /// Follows the file while a program changes it and finally writes "end". Returns the reported kinds. The contents
  /// that were read after the last element must be those of the file.
  std::vector<FileChange> follow(const std::vector<std::string>& arguments) {
    FileManager& files = FileManager::default_();
    std::vector<FileChange> kinds;
    warmUp();
    const auto before = openDescriptors();
    syncWait([&]() -> Async<void> {
      auto changes = fileChanges(files, url()).makeAsyncIterator();
      Program program(arguments);
      // The file may return between a removal and its reading; then that return is still to be reported.
      do {
        kinds.push_back(*co_await changes.next());
      } while (Tests::contentsOf(file_) != "end" || kinds.back() == FileChange::removed);
      while (!program.hasEnded()) co_await Task<>::yield();
      EXPECT_EQ(program.exitStatus(), 0);
      EXPECT_EQ(Tests::contentsOf(file_), "end");
    });
    EXPECT_EQ(openDescriptors(), before);
    return kinds;
  }
  [[nodiscard]] static bool has(const std::vector<FileChange>& kinds, FileChange kind) {
    return std::ranges::find(kinds, kind) != kinds.end();
  }

  std::string folder_;
  std::string file_;
};

TEST_P(FileChangesOn, WritesOfAnotherProcessAreReadCompletely) {
  const auto kinds = follow({"python3", "-c", R"(
import os, sys
for number in range(int(sys.argv[2])):
    descriptor = os.open(sys.argv[1], os.O_WRONLY)
    os.pwrite(descriptor, b'%09d' % number, 0)
    os.close(descriptor)
with open(sys.argv[1], 'w') as file:
    file.write('end')
)",
                             file_, countOf(100'000)});
  EXPECT_TRUE(has(kinds, FileChange::contents));
  EXPECT_FALSE(has(kinds, FileChange::replaced));
}

TEST_P(FileChangesOn, ReplacementsByAnotherProcessAreReadCompletely) {
  const auto kinds = follow({"python3", "-c", R"(
import os, sys
for number in range(int(sys.argv[2])):
    with open(sys.argv[1] + '.new', 'w') as file:
        file.write('%09d' % number)
    os.rename(sys.argv[1] + '.new', sys.argv[1])
with open(sys.argv[1] + '.new', 'w') as file:
    file.write('end')
os.rename(sys.argv[1] + '.new', sys.argv[1])
)",
                             file_, countOf(1000)});
  EXPECT_TRUE(has(kinds, FileChange::replaced));
}

TEST_P(FileChangesOn, ReaderIsUpToDateInEveryPause) {
  // The writer makes 100 writes and a replacement, a thousand times. Twenty times it waits until its last text was
  // read.
  FileManager& files = FileManager::default_();
  warmUp();
  const auto before = openDescriptors();
  int pauses = 0;
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url()).makeAsyncIterator();
    Program program({"python3", "-c", R"(
import os, sys, time
name, count = sys.argv[1], int(sys.argv[2])
for number in range(1, count + 1):
    for write in range(100):
        descriptor = os.open(name, os.O_WRONLY)
        os.pwrite(descriptor, b'%09d' % write, 0)
        os.close(descriptor)
    is_pause = number % (count // 20) == 0
    ends_replaced = number % (count // 10) == 0
    with open(name + '.new', 'w') as file:
        file.write(('pause %d' if ends_replaced else '%09d') % number)
    os.rename(name + '.new', name)
    if is_pause and not ends_replaced:
        with open(name, 'w') as file:
            file.write('pause %d' % number)
    while is_pause and not os.path.exists('%s.%d' % (name, number)):
        time.sleep(0.0005)
)",
                     file_, countOf(1000)});
    std::string last;
    while (last != "pause " + countOf(1000)) {
      const auto change = co_await changes.next();
      EXPECT_TRUE(change);
      last = Tests::contentsOf(file_);
      if (!last.starts_with("pause ")) continue;
      const std::string read = file_ + "." + last.substr(6);
      if (std::filesystem::exists(read)) continue;
      ++pauses;
      std::ofstream(read) << "read";
    }
    while (!program.hasEnded()) co_await Task<>::yield();
    EXPECT_EQ(program.exitStatus(), 0);
  });
  EXPECT_EQ(pauses, 20);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_P(FileChangesOn, RemovalAndReturnByAnotherProcessAreReported) {
  follow({"python3", "-c", R"(
import os, sys
for number in range(1000):
    os.unlink(sys.argv[1])
    with open(sys.argv[1], 'w') as file:
        file.write('%09d' % number)
with open(sys.argv[1], 'w') as file:
    file.write('end')
)",
          file_});
}

TEST_P(FileChangesOn, ChangesByAShellAreReported) {
  const auto kinds = follow({"sh", "-c",
                             "echo one > \"$0\"; echo two >> \"$0\"; : > \"$0\"; mv \"$0\" \"$0.away\"; "
                             "mv \"$0.away\" \"$0\"; printf end > \"$0\"",
                             file_});
  EXPECT_FALSE(kinds.empty());
}

TEST_P(FileChangesOn, AtomicSaveByAnEditorIsAReplacement) {
  if (!std::filesystem::exists("/usr/bin/vim")) GTEST_SKIP() << "vim is not installed";
  const auto kinds = follow({"vim", "-u", "NONE", "-n", "-es", "--not-a-term", "-c",
                             "set backupskip= backupcopy=no writebackup nofixeol noeol", "-c", "call setline(1, 'end')",
                             "-c", "wq", file_});
  EXPECT_TRUE(has(kinds, FileChange::replaced) || has(kinds, FileChange::returned));
}

TEST_P(FileChangesOn, EveryElementIsAWriteAndLeavesNoDescriptor) {
  FileManager& files = FileManager::default_();
  warmUp();
  syncWait([&]() -> Async<void> {
    auto writes = writeFileSystemEvents(files, url(), 0.01).makeAsyncIterator();
    std::atomic<bool> isDone{false};
    std::multiset<std::string> before;
    for (int element = 0; element < Tests::repetitions(20); ++element) {
      isDone = false;
      // A write between two watches is not noticed, so the writer continues until one is noticed.
      Task<> writer = Task<>::detached([&]() -> Async<void> {
        while (!isDone) {
          std::ofstream(file_, std::ios::app) << '.';
          co_await Task<>::yield();
        }
      });
      EXPECT_TRUE(co_await writes.next());
      isDone = true;
      co_await writer.finished();
      if (before.empty()) before = openDescriptors();
      EXPECT_EQ(openDescriptors(), before);
    }
  });
}

TEST_P(FileChangesOn, NextDeleteNoticesAnotherProcess) {
  for (const char* command : {"rm \"$0\"", "echo new > \"$0.new\"; mv \"$0.new\" \"$0\""}) {
    std::ofstream(file_) << "there";
    syncWait([&]() -> Async<void> {
      Task<> wait([&] { return nextFileSystemDelete(FileManager::default_(), url()); });
      co_await Task<>::yield();
      Program program({"sh", "-c", command, file_});
      co_await wait.value();
    });
  }
}

INSTANTIATE_TEST_SUITE_P(Volumes, FileChangesOn, testing::Values(".", "/dev/shm"),
                         [](const auto& parameter) { return parameter.index == 0 ? "Disk" : "Memory"; });

}  // namespace
}  // namespace Tessaly
