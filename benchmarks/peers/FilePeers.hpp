// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// Peers that observe files and directories, and peers that make digests of files.
namespace Tessaly::Benchmarks::FilePeers {

/// Learns numbers from a file or a directory, on a thread of its own.
class Observer {
 public:
  Observer() = default;
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;
  virtual ~Observer() = default;

  void waitFor(std::uint64_t number) const {
    for (std::uint64_t last = last_; last != number; last = last_) last_.wait(last);
  }

 protected:
  void learn(std::uint64_t number) {
    last_ = number;
    last_.notify_one();
  }

 private:
  std::atomic<std::uint64_t> last_{0};
};

/// Observes a file that holds a number. It reads the file after every notification.
class Reader : public Observer {
 public:
  explicit Reader(const std::string& path) : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~Reader() override { ::close(descriptor_); }

 protected:
  void read() {
    std::uint64_t number = 0;
    if (::pread(descriptor_, &number, sizeof(number), 0) == ssize_t{sizeof(number)}) learn(number);
  }

 private:
  const int descriptor_;
};

/// Observes a directory in which one entry has a number in its name. Each side learns the new name, not only that
/// something has changed.
class Lister : public Observer {
 public:
  static constexpr std::string_view prefix = "moving-";

 protected:
  void learnName(std::string_view name) {
    std::uint64_t number = 0;
    if (!name.starts_with(prefix)) return;
    name.remove_prefix(prefix.size());
    if (std::from_chars(name.data(), name.data() + name.size(), number).ec == std::errc()) learn(number);
  }
};

std::shared_ptr<Observer> qFileSystemWatcher(const std::string& file);
std::shared_ptr<Observer> gFileMonitor(const std::string& file);

/// Each returns when it follows the directory.
std::shared_ptr<Observer> qFileSystemWatcherOfDirectory(const std::string& directory);
std::shared_ptr<Observer> gFileMonitorOfDirectory(const std::string& directory);
std::shared_ptr<Observer> inotifywait(const std::string& directory);

/// Follows the files of a directory one by one, as its changes of contents demand.
std::shared_ptr<void> qFileSystemWatcherOfFiles(const std::string& directory);

/// The digest in hexadecimal digits. The method is "sha256", "sha512" or "md5".
std::string qCryptographicHash(const std::string& file, std::string_view method);
std::string digestProgram(const std::string& file, std::string_view method);

}  // namespace Tessaly::Benchmarks::FilePeers
