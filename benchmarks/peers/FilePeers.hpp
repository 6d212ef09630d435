// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

/// Peers that observe a file.
namespace Tessaly::Benchmarks::FilePeers {

/// Observes a file that holds a number. It reads the file on its own thread after every notification.
class Reader {
 public:
  explicit Reader(const std::string& path) : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  virtual ~Reader() { ::close(descriptor_); }

  void waitFor(std::uint64_t number) const {
    for (std::uint64_t last = last_; last != number; last = last_) last_.wait(last);
  }

 protected:
  void read() {
    std::uint64_t number = 0;
    if (::pread(descriptor_, &number, sizeof(number), 0) != ssize_t{sizeof(number)}) return;
    last_ = number;
    last_.notify_one();
  }

 private:
  const int descriptor_;
  std::atomic<std::uint64_t> last_{0};
};

std::shared_ptr<Reader> qFileSystemWatcher(const std::string& path);
std::shared_ptr<Reader> gFileMonitor(const std::string& path);

}  // namespace Tessaly::Benchmarks::FilePeers
