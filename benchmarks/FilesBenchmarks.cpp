// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "Harness.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "peers/FilePeers.hpp"

// Writes a number into a file. The operation ends when an observing reader has read it and the writer knows that.

namespace Tessaly::Benchmarks {
namespace {

/// The file is in memory, so that the disk does not count.
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

class OurReader final : public FilePeers::Reader {
 public:
  explicit OurReader(const std::string& path) : Reader(path) {
    const FileChanges changes = fileChanges(FileManager::default_(), URL::fileURLWithPath(path));
    task_.emplace(Task<>::detached([this, changes]() -> Async<void> {
      auto iterator = changes.makeAsyncIterator();
      while (co_await iterator.next()) read();
      isOver_ = true;
      isOver_.notify_one();
    }));
  }
  ~OurReader() override {
    task_->cancel();
    isOver_.wait(false);
  }

 private:
  std::atomic<bool> isOver_{false};
  std::optional<Task<>> task_;
};

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

const Facility files("Files", [](Facility& facility) {
  facility.row("from a write to its being read")
      .ours(writeToElement([](const std::string& path) { return std::make_shared<OurReader>(path); }))
      .peer("QFileSystemWatcher", writeToElement(FilePeers::qFileSystemWatcher))
      .peer("GFileMonitor", writeToElement(FilePeers::gFileMonitor));
});

}  // namespace
}  // namespace Tessaly::Benchmarks
