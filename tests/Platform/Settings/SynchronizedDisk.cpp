// SPDX-License-Identifier: MIT
#include "tests/Platform/Settings/SynchronizedDisk.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/Support/ContentsOf.hpp"

namespace Tessaly::Tests {
namespace {

/// The file after a power cut: its size may be that of any moment, and each sector was written or not.
std::string torn(const std::string& before, const std::string& latest, std::mt19937_64& random) {
  const auto chance = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
  const auto [least, most] = std::minmax({before.size(), latest.size()});
  const std::size_t size = chance(2) == 0 ? latest.size() : least + chance(most - least + 1);
  std::string left = before.substr(0, std::min(size, before.size()));
  left.resize(size, '\0');
  // Often a beginning of the file was written and the rest was not.
  const std::size_t written = chance(3) == 0 ? chance(size / SynchronizedDisk::sectorSize + 2) : 0;
  for (std::size_t at = 0; at < std::min(size, latest.size()); at += SynchronizedDisk::sectorSize) {
    const bool isWritten = written != 0 ? at / SynchronizedDisk::sectorSize < written : chance(2) == 0;
    const std::size_t end = std::min({at + SynchronizedDisk::sectorSize, size, latest.size()});
    if (isWritten) left.replace(at, end - at, latest, at, end - at);
  }
  return left;
}

}  // namespace

void SynchronizedDisk::keep(int descriptor) {
  if (const auto moment = std::exchange(moment_, nullptr)) {
    moment();
    moment_ = moment;
  }
  struct stat status{};
  ASSERT_EQ(::fstat(descriptor, &status), 0);
  const std::string path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).string();
  const UnfairLock::Guard guard(lock_);
  if (S_ISDIR(status.st_mode)) {
    entries_[path] = entriesOf(path);
  } else {
    open(path, status.st_ino);
    synchronized_[status.st_ino] = latestContents(status.st_ino);
  }
}

void SynchronizedDisk::restore(const std::string& from, const std::string& to, PowerCut cut) {
  const UnfairLock::Guard guard(lock_);
  std::mt19937_64 random(cut.tear.value_or(0));
  std::filesystem::create_directories(to);
  Entries entries = entriesOf(from);
  if (cut.entries == PowerCut::Entries::synchronized) entries = entries_[from];
  if (cut.entries == PowerCut::Entries::mixed) entries = mixed(entries_[from], entries, random);
  for (const auto& [name, inode] : entries) {
    const std::string& before = synchronized_[inode];
    std::ofstream(to + "/" + name, std::ios::binary)
        << (cut.tear ? torn(before, latestContents(inode), random) : before);
  }
}

void SynchronizedDisk::open(const std::string& path, ino_t inode) {
  if (files_.contains(inode)) return;
  files_.emplace(inode, detail::OwnedDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)));
}

SynchronizedDisk::Entries SynchronizedDisk::entriesOf(const std::string& path) {
  Entries entries;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    struct stat status{};
    if (::lstat(entry.path().c_str(), &status) != 0) continue;
    entries[entry.path().filename().string()] = status.st_ino;
    open(entry.path().string(), status.st_ino);
  }
  return entries;
}

SynchronizedDisk::Entries SynchronizedDisk::mixed(const Entries& synchronized, const Entries& latest,
                                                  std::mt19937_64& random) {
  Entries entries;
  for (const Entries* const names : {&synchronized, &latest}) {
    for (const auto& [name, unused] : *names) {
      if (names == &latest && synchronized.contains(name)) continue;
      const Entries& chosen = random() % 2 == 0 ? synchronized : latest;
      if (const auto found = chosen.find(name); found != chosen.end()) entries.insert(*found);
    }
  }
  return entries;
}

std::string SynchronizedDisk::latestContents(ino_t inode) {
  return Tests::contentsOf("/proc/self/fd/" + std::to_string(files_[inode].get()));
}

}  // namespace Tessaly::Tests

// In the place of those of the C library.
extern "C" {

int fsync(int descriptor) {
  if (Tessaly::Tests::SynchronizedDisk* const disk = Tessaly::Tests::SynchronizedDisk::current())
    disk->keep(descriptor);
  return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

int fdatasync(int descriptor) {
  if (Tessaly::Tests::SynchronizedDisk* const disk = Tessaly::Tests::SynchronizedDisk::current())
    disk->keep(descriptor);
  return static_cast<int>(::syscall(SYS_fdatasync, descriptor));
}
}
