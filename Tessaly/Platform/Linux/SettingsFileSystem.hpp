// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Platform/Settings/detail/StoreProblem.hpp"

namespace Tessaly::inline v1::detail {

enum class LockMode : std::uint8_t { shared, exclusive };
/// The way in which `SettingsFileSystem::rename` treats a file that already has the new name. `exchange` swaps the
/// names of the two files, and fails if no file has the new name.
enum class Replacing : std::uint8_t { replace, exchange, refuse };

/// The system calls with which the settings store opens, reads and changes its files. A test derives from this class to
/// make calls fail.
///
/// A call that a signal interrupts is repeated.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT SettingsFileSystem {
 public:
  enum class Call : std::uint8_t {
    open,
    status,
    read,
    write,
    allocate,
    synchronize,
    link,
    rename,
    remove,
    createDirectory,
    lock,
    readLink,
    setMode
  };

  SettingsFileSystem() = default;
  virtual ~SettingsFileSystem();
  SettingsFileSystem(const SettingsFileSystem&) = delete;
  SettingsFileSystem& operator=(const SettingsFileSystem&) = delete;

  /// The instance that makes every system call unchanged.
  [[nodiscard]] static SettingsFileSystem& shared() noexcept;

  [[nodiscard]] StoreResult<OwnedDescriptor> open(const std::string& path, int flags, mode_t mode = 0);
  [[nodiscard]] StoreResult<struct stat> status(const std::string& path);
  [[nodiscard]] StoreResult<struct stat> status(int descriptor);
  [[nodiscard]] bool mayWrite(const std::string& path);
  /// Reads `size` bytes, or fewer if the file ends earlier. Refuses a size of 64 MiB or more that exceeds the available
  /// memory.
  [[nodiscard]] StoreResult<> read(int descriptor, std::uint64_t offset, std::size_t size, std::string& bytes);
  /// Makes one `write` call, which may write only a part of the bytes. Exceeding the process's limit for the size of
  /// files is an error, not a signal.
  [[nodiscard]] StoreResult<std::size_t> write(int descriptor, std::string_view bytes);
  [[nodiscard]] StoreResult<> writeAll(int descriptor, std::string_view bytes);
  /// Reserves room on the disk without changing the file's size. Also succeeds if the file system cannot reserve room.
  [[nodiscard]] StoreResult<> allocate(int descriptor, std::uint64_t offset, std::uint64_t size);
  /// Waits until the contents of the file or directory are on the disk (`fsync`). Also succeeds for a file or directory
  /// that does not support `fsync`.
  [[nodiscard]] StoreResult<> synchronize(int descriptor);
  [[nodiscard]] StoreResult<> link(const std::string& from, const std::string& to);
  [[nodiscard]] StoreResult<> rename(const std::string& from, const std::string& to, Replacing replacing);
  /// Removes the file. Also succeeds if nothing exists at the path.
  [[nodiscard]] StoreResult<> remove(const std::string& path);
  [[nodiscard]] StoreResult<> removeFrom(int directory, const char* name);
  /// Makes a directory for this user only. Also succeeds if anything, even a file, already exists at the path.
  [[nodiscard]] StoreResult<> createDirectory(const std::string& path);
  /// Acquires the lock of the open file (`flock`). Does not wait: fails with `StoreFault::lockHeld` if a conflicting
  /// lock is held.
  [[nodiscard]] StoreResult<> lock(int descriptor, LockMode mode);
  void unlock(int descriptor) noexcept;
  [[nodiscard]] StoreResult<std::string> readLink(const std::string& path);
  /// Also succeeds, without an effect, if the volume has fixed modes or if this process may not change the mode.
  [[nodiscard]] StoreResult<> setMode(int descriptor, mode_t mode);
  void setOwner(int descriptor, uid_t user, gid_t group) noexcept;

 protected:
  /// The fate of a call: an error code that replaces the call, or the maximum number of bytes that the call writes.
  struct Fate {
    int errorCode = 0;
    std::size_t maximumBytes = SIZE_MAX;
  };
  /// Called before each system call, except the calls of `unlock` and `setOwner`. The path is empty for removals and
  /// for calls on descriptors. This implementation lets each call proceed.
  [[nodiscard]] virtual Fate before(Call call, const std::string& path);

 private:
  template <typename Function>
  [[nodiscard]] StoreResult<long> make(Call call, const std::string& path, Function function);
};

}  // namespace Tessaly::inline v1::detail
