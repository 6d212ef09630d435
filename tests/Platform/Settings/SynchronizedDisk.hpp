// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::Tests {

/// The contents of a disk after a power cut, with the guarantees of POSIX only. There is one at a time, while it is in
/// use.
class SynchronizedDisk {
 public:
  /// The changes that reached the disk besides the synchronized data.
  struct PowerCut {
    enum class Entries : std::uint8_t {
      /// Only the entries that a directory had when it was synchronized.
      synchronized,
      /// All entries.
      latest,
      /// Each entry of both kinds by chance. Needs `tear`.
      mixed,
    };
    Entries entries = Entries::synchronized;
    /// The seed that chooses the sectors of unsynchronized data that were written; without one, none was.
    std::optional<std::uint64_t> tear = std::nullopt;
  };
  static constexpr std::size_t sectorSize = 512;

  SynchronizedDisk() { current() = this; }
  ~SynchronizedDisk() { current() = nullptr; }
  SynchronizedDisk(const SynchronizedDisk&) = delete;
  SynchronizedDisk& operator=(const SynchronizedDisk&) = delete;

  static std::atomic<SynchronizedDisk*>& current() {
    static constinit std::atomic<SynchronizedDisk*> disk = nullptr;
    return disk;
  }

  /// Called before each synchronization, except those that it causes itself.
  void setMoment(std::function<void()> moment) { moment_ = std::move(moment); }

  /// The file or directory is synchronized now.
  void keep(int descriptor);

  /// Makes a directory of what is left of another after a power cut.
  void restore(const std::string& from, const std::string& to, PowerCut cut);

 private:
  using Entries = std::map<std::string, ino_t>;

  void open(const std::string& path, ino_t inode) TESSALY_REQUIRES(lock_);
  Entries entriesOf(const std::string& path) TESSALY_REQUIRES(lock_);
  static Entries mixed(const Entries& synchronized, const Entries& latest, std::mt19937_64& random);
  [[nodiscard]] std::string latestContents(ino_t inode) TESSALY_REQUIRES(lock_);

  std::function<void()> moment_;
  UnfairLock lock_;
  /// Each file that was ever seen stays open, so that no other file gets its number, and removed ones can be read.
  std::map<ino_t, detail::OwnedDescriptor> files_ TESSALY_GUARDED_BY(lock_);
  std::map<ino_t, std::string> synchronized_ TESSALY_GUARDED_BY(lock_);
  std::map<std::string, Entries> entries_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::Tests
