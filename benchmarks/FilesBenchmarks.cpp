// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "Harness.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/FoundationExtensions/Digest+Extensions.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "peers/DirectoryOfFiles.hpp"
#include "peers/FilePeers.hpp"

// Files and directories are in memory, so that the disk does not count.

namespace Tessaly::Benchmarks {
namespace {

class NumberFile {
 public:
  NumberFile() {
    descriptor_ = ::mkstemp(path_.data());
    if (descriptor_ < 0) throw std::runtime_error("There is no place for a file");
    write(0);
  }
  NumberFile(const NumberFile&) = delete;
  NumberFile& operator=(const NumberFile&) = delete;
  ~NumberFile() {
    ::close(descriptor_);
    ::unlink(path_.c_str());
  }

  void write(std::uint64_t number) const {
    if (::pwrite(descriptor_, &number, sizeof(number), 0) < 0) throw std::runtime_error("The file cannot be written");
  }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_ = "/dev/shm/tessaly-bench-XXXXXX";
  int descriptor_ = -1;
};

/// The task of an observer. It ends before the observer does.
class ObservingTask {
 public:
  explicit ObservingTask(std::function<Async<void>()> work)
      : task_(Task<>::detached([this, work = std::move(work)]() -> Async<void> {
          co_await work();
          isOver_ = true;
          isOver_.notify_one();
        })) {}
  ~ObservingTask() {
    task_.cancel();
    isOver_.wait(false);
  }
  ObservingTask(const ObservingTask&) = delete;
  ObservingTask& operator=(const ObservingTask&) = delete;

 private:
  std::atomic<bool> isOver_{false};
  Task<> task_;
};

class OurReader final : public FilePeers::Reader {
 public:
  explicit OurReader(const std::string& path)
      : Reader(path), task_([this, changes = fileChanges(FileManager::default_(), URL::fileURLWithPath(path))] {
          return follow(changes);
        }) {}

 private:
  Async<void> follow(FileChanges changes) {
    auto iterator = changes.makeAsyncIterator();
    while (co_await iterator.next()) read();
  }

  ObservingTask task_;
};

class OurLister final : public FilePeers::Lister {
 public:
  explicit OurLister(const std::string& path)
      : task_([this, changes = directoryChanges(FileManager::default_(), URL::fileURLWithPath(path))] {
          return follow(changes);
        }) {
    isReady_.wait(false);
  }

 private:
  Async<void> follow(DirectoryChanges changes) {
    auto iterator = changes.makeAsyncIterator();
    while (const auto some = co_await iterator.next()) {
      for (const DirectoryChange& change : *some) learnName(change.entry.path);
      isReady_ = true;
      isReady_.notify_one();
    }
  }

  std::atomic<bool> isReady_{false};
  ObservingTask task_;
};

/// Writes a number into a file. The operation ends when an observer has read it and the writer knows that.
template <typename MakeReader>
auto writeToElement(MakeReader makeReader) {
  return [makeReader] {
    const auto file = std::make_shared<NumberFile>();
    return [file, reader = makeReader(file->path()), number = std::uint64_t{0}]() mutable {
      file->write(++number);
      reader->waitFor(number);
    };
  };
}

/// Renames one of the entries. The operation ends when an observer has learnt the new name and the writer knows that.
template <typename MakeLister>
auto renameToElement(int count, MakeLister makeLister) {
  return [=] {
    static std::map<int, DirectoryOfFiles> directories;
    DirectoryOfFiles& directory = directories.try_emplace(count, count).first->second;
    return [&directory, lister = makeLister(directory.path())] { lister->waitFor(directory.rename()); };
  };
}

void addDirectoryRow(Facility& facility, int count) {
  facility.row("from a renaming to its being known, " + std::to_string(count) + " entries")
      .ours(renameToElement(count, [](const std::string& path) { return std::make_shared<OurLister>(path); }))
      .peer("QFileSystemWatcher and a listing", renameToElement(count, FilePeers::qFileSystemWatcherOfDirectory))
      .peer("GFileMonitor", renameToElement(count, FilePeers::gFileMonitorOfDirectory))
      .peer("inotifywait, a process", renameToElement(count, FilePeers::inotifywait));
}

template <typename Digest>
void addDigestRow(Facility& facility, const std::string& method, const std::shared_ptr<std::string>& file) {
  facility.row("digest of 16 MiB, " + method)
      .ours([file] {
        return stringEncoded(syncWait([file] { return digestOfFile<Digest>(URL::fileURLWithPath(*file)); }));
      })
      .peer("QCryptographicHash", [file, method] { return FilePeers::qCryptographicHash(*file, method); })
      .peer(method + "sum, a process", [file, method] { return FilePeers::digestProgram(*file, method); });
}

/// A file in memory of 16 MiB, removed at the end.
std::shared_ptr<std::string> makeLargeFile() {
  std::string path = "/dev/shm/tessaly-bench-XXXXXX";
  const int descriptor = ::mkstemp(path.data());
  if (descriptor < 0) throw std::runtime_error("There is no place for a file");
  ::close(descriptor);
  std::ofstream file(path, std::ios::binary);
  for (int line = 0; line < 1 << 20; ++line) file.write("sixteen letters\n", 16);
  return {new std::string(path), [](std::string* name) {
            ::unlink(name->c_str());
            delete name;
          }};
}

const Facility files("Files", [](Facility& facility) {
  facility.row("from a write to its being read")
      .ours(writeToElement([](const std::string& path) { return std::make_shared<OurReader>(path); }))
      .peer("QFileSystemWatcher", writeToElement(FilePeers::qFileSystemWatcher))
      .peer("GFileMonitor", writeToElement(FilePeers::gFileMonitor));
  for (const int count : {10, 10'000, 100'000}) addDirectoryRow(facility, count);
  const auto large = makeLargeFile();
  addDigestRow<SHA256Digest>(facility, "sha256", large);
  addDigestRow<SHA512Digest>(facility, "sha512", large);
  addDigestRow<Insecure::MD5Digest>(facility, "md5", large);
});

}  // namespace
}  // namespace Tessaly::Benchmarks
