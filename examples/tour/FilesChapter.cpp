// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Chapters.hpp"
#include "Commands.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"

namespace Tour {
namespace {

using namespace Tessaly;
using namespace std::chrono_literals;

constexpr auto patience = 10s;

/// A directory of the tour, removed at its end.
class Folder {
 public:
  Folder() {
    std::string name = std::filesystem::temp_directory_path() / "tessaly-tour-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw POSIXError::last();
    path_ = name;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] std::string path(const char* name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

std::string textOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The result of an operation within 10 s. Absent after that.
template <typename Element, typename Operation>
Async<std::optional<Element>> within(Operation operation) {
  const auto task = Task<std::optional<Element>>::detached(
      [operation]() -> Async<std::optional<Element>> { co_return co_await operation(); });
  const Task<> limit = Task<>::detached([task]() -> Async<void> {
    co_await Task<>::sleep(patience);
    task.cancel();
  });
  std::optional<Element> element;
  try {
    element = co_await task.value();
  } catch (const CancellationError&) {
    // The limit has passed.
  }
  limit.cancel();
  co_return element;
}

/// Runs a shell on the file as a second process.
Async<bool> runShell(std::string script, std::string file) {
  co_return co_await runBlocking([script = std::move(script), file = std::move(file)] {
    return runCommand({"sh", "-c", script, file}).status == 0;
  });
}

class Follower {
 public:
  explicit Follower(std::string file)
      : file_(std::move(file)),
        changes_(fileChanges(FileManager::default_(), URL::fileURLWithPath(file_)).makeAsyncIterator()) {}

  /// Makes a second process change the file. Waits until a change was delivered, of this kind if one is given, and the
  /// file is as expected. Returns the delivered changes, or an empty set if that did not happen.
  Async<std::set<FileChange>> follow(std::string script, std::optional<std::string> end,
                                     std::optional<FileChange> kind) {
    const Task<bool> writer([script = std::move(script), file = file_] { return runShell(script, file); });
    std::set<FileChange> told;
    count_ = 0;
    while ((kind ? !told.contains(*kind) : told.empty()) || !isAtEnd(end)) {
      const auto change = co_await within<FileChange>([this] { return changes_.next(); });
      if (!change) {
        told.clear();
        break;
      }
      ++count_;
      told.insert(*change);
    }
    if (!co_await writer.value()) told.clear();
    co_return told;
  }
  /// The number of changes in the last step.
  [[nodiscard]] int count() const { return count_; }

 private:
  [[nodiscard]] bool isAtEnd(const std::optional<std::string>& end) const {
    const bool isThere = FileManager::default_().fileExists(file_);
    return isThere == end.has_value() && (!isThere || textOf(file_) == *end);
  }

  const std::string file_;
  FileChanges::AsyncIterator changes_;
  int count_ = 0;
};

Async<void> followEveryWay(Narrator& narrator, const Folder& folder) {
  struct Way {
    const char* name;
    const char* script;
    std::optional<std::string> end;
    FileChange kind;
  };
  const std::vector<Way> ways{
      {"writes it in place", "printf one > \"$0\"", "one", FileChange::contents},
      {"appends to it", "printf two >> \"$0\"", "onetwo", FileChange::contents},
      {"empties it", ": > \"$0\"", "", FileChange::contents},
      {"saves it atomically", "printf three > \"$0.new\" && mv \"$0.new\" \"$0\"", "three", FileChange::replaced},
      {"removes it", "rm \"$0\"", std::nullopt, FileChange::removed},
      {"makes it again", "printf four > \"$0\"", "four", FileChange::returned},
      {"moves it away", "mv \"$0\" \"$0.away\"", std::nullopt, FileChange::removed},
      {"moves it back", "mv \"$0.away\" \"$0\"", "four", FileChange::returned},
      {"removes its folder", "rm -r \"${0%/*}\"", std::nullopt, FileChange::removed},
      {"makes both again", "mkdir \"${0%/*}\" && printf five > \"$0\"", "five", FileChange::returned},
  };
  std::filesystem::create_directory(folder.path("notes"));
  const std::string file = folder.path("notes/today.txt");
  std::ofstream(file) << "none";
  Follower follower(file);
  std::size_t right = 0;
  for (const Way& way : ways) {
    const auto told = co_await follower.follow(way.script, way.end, way.kind);
    const bool isRight = told.contains(way.kind);
    right += isRight ? 1 : 0;
    std::string kinds;
    for (const FileChange kind : told) kinds += text(kinds.empty() ? "" : ", ", description(kind));
    narrator.say(text("A second process ", way.name, ": ", kinds.empty() ? "not told" : kinds));
  }
  narrator.check(right == ways.size(),
                 text("Each of ", ways.size(), " ways of changing a file was told for what it is"));

  constexpr int rounds = 200;
  constexpr const char* burst =
      "i=0; while [ $i -lt 200 ]; do echo $i > \"$0\"; echo more >> \"$0\"; : > \"$0\"; echo $i > \"$0.new\"; "
      "mv \"$0.new\" \"$0\"; rm \"$0\"; echo $i > \"$0\"; i=$((i+1)); done; printf end > \"$0\"";
  const auto told = co_await follower.follow(burst, "end", std::nullopt);
  narrator.check(!told.empty() && textOf(file) == "end",
                 text(rounds, " rounds of that in a row were told in ", follower.count(),
                      " changes, and what was read after the last one is what the file holds"));

  if (std::filesystem::exists("/usr/bin/vim")) {
    const auto saved = co_await follower.follow(
        "vim -u NONE -n -es --not-a-term -c 'set backupskip= backupcopy=no writebackup nofixeol noeol' "
        "-c \"call setline(1, 'edited')\" -c wq \"$0\" < /dev/null > /dev/null 2>&1",
        "edited", std::nullopt);
    narrator.check(!saved.empty(), "A file that vim saves is followed, too");
  } else {
    narrator.say("vim is not installed here, so no editor saves the file");
  }
}

/// Whether this process has the file open.
bool isOpenHere(const std::string& file) {
  return std::ranges::any_of(std::filesystem::directory_iterator("/proc/self/fd"), [&](const auto& descriptor) {
    std::error_code ignored;
    return std::filesystem::read_symlink(descriptor.path(), ignored) == file;
  });
}

/// Waits until a condition holds, at most 10 s.
Async<bool> until(std::function<bool()> condition) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) co_return false;
    co_await Task<>::sleep(1ms);
  }
  co_return true;
}

Async<void> waitForWrites(Narrator& narrator, const Folder& folder) {
  FileManager& files = FileManager::default_();
  const std::string file = std::filesystem::canonical(folder.path(".")) / "state.txt";
  const URL url = URL::fileURLWithPath(file);
  std::ofstream(file) << "first";
  auto contents = writeFileSystemEventsWithData(files, url, 0.01).makeAsyncIterator();
  const auto first = co_await within<Data>([&] { return contents.next(); });
  narrator.check(first && first->text() == "first", "The contents of a file come at once");
  // Writes outside the watch are not delivered, so the second process writes until one arrives.
  const Task<bool> writer([file] {
    return runShell(
        "i=0; while [ ! -e \"$0.heard\" ] && [ $i -lt 1000 ]; do printf . >> \"$0\"; sleep 0.01; "
        "i=$((i+1)); done; [ -e \"$0.heard\" ]",
        file);
  });
  const auto second = co_await within<Data>([&] { return contents.next(); });
  std::ofstream(file + ".heard") << "yes";
  const bool wasHeard = co_await writer.value();
  narrator.check(wasHeard && second && second->text().starts_with("first."), "They come again after a write");
}

Async<void> waitForARemoval(Narrator& narrator, const Folder& folder) {
  const std::string file = std::filesystem::canonical(folder.path(".")) / "lock";
  std::ofstream(file) << "held";
  Task<std::optional<bool>> removal([url = URL::fileURLWithPath(file)]() -> Async<std::optional<bool>> {
    co_await nextFileSystemDelete(FileManager::default_(), url);
    co_return true;
  });
  // A consumer that waits for the removal of a file needs the file first.
  const bool isWatched = co_await until([&] { return isOpenHere(file) || removal.isFinished(); });
  const bool isRemoved = co_await runShell("rm \"$0\"", file);
  const auto heard = co_await within<bool>([&] { return removal.value(); });
  removal.cancel();
  narrator.check(isWatched && isRemoved && heard, "The removal of a file by a second process is told");
}

}  // namespace

void tellOfFiles(Narrator& narrator) {
  const Folder folder;
  syncWait(followEveryWay(narrator, folder));
  syncWait(waitForWrites(narrator, folder));
  syncWait(waitForARemoval(narrator, folder));
}

}  // namespace Tour
