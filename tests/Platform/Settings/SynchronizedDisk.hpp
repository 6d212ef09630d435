// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "tests/Support/ContentsOf.hpp"

namespace Tessaly::Tests {

/// What a disk holds that loses everything but what it was told to keep. There is one at a time, while it is in use.
class SynchronizedDisk {
 public:
  SynchronizedDisk() { current() = this; }
  ~SynchronizedDisk() { current() = nullptr; }
  SynchronizedDisk(const SynchronizedDisk&) = delete;
  SynchronizedDisk& operator=(const SynchronizedDisk&) = delete;

  static std::atomic<SynchronizedDisk*>& current() {
    static constinit std::atomic<SynchronizedDisk*> disk = nullptr;
    return disk;
  }

  /// Called each time before something is kept, but for what is kept meanwhile.
  void setMoment(std::function<void()> moment) { moment_ = std::move(moment); }

  void keep(int descriptor) {
    if (const auto moment = std::exchange(moment_, nullptr)) {
      moment();
      moment_ = moment;
    }
    struct stat status{};
    ASSERT_EQ(::fstat(descriptor, &status), 0);
    const std::string path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).string();
    const UnfairLock::Guard guard(lock_);
    if (S_ISDIR(status.st_mode)) {
      entries_[path] = inodesIn(path);
    } else {
      contents_[status.st_ino] = Tests::contentsOf(path);
    }
  }

  /// Makes a folder of what is left of another. Entries that were not kept may have come to the disk or not.
  void restore(const std::string& from, const std::string& to, bool hasLatestEntries) {
    const UnfairLock::Guard guard(lock_);
    std::filesystem::create_directories(to);
    for (const auto& [name, inode] : hasLatestEntries ? inodesIn(from) : entries_[from]) {
      std::ofstream(to + "/" + name, std::ios::binary) << contents_[inode];
    }
  }

 private:
  using Entries = std::map<std::string, ino_t>;

  static Entries inodesIn(const std::string& path) {
    Entries entries;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      struct stat status{};
      if (::lstat(entry.path().c_str(), &status) == 0) entries[entry.path().filename().string()] = status.st_ino;
    }
    return entries;
  }

  std::function<void()> moment_;
  UnfairLock lock_;
  std::map<ino_t, std::string> contents_ TESSALY_GUARDED_BY(lock_);
  std::map<std::string, Entries> entries_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::Tests
