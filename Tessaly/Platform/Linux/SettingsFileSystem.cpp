// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>

#include "Tessaly/Core/Base/detail/RenameWithoutReplacing.hpp"
#include "Tessaly/Core/Foundation/detail/AvailableMemory.hpp"

namespace Tessaly::inline v1::detail {
namespace {

using Call = SettingsFileSystem::Call;

/// The path of removals and of calls on descriptors.
const std::string& noPath() {
  static const auto& path = *new std::string;
  return path;
}

constexpr std::size_t largeRead = std::size_t{64} << 20;

StoreResult<> withoutValue(const StoreResult<long>& result) {
  if (!result) return std::unexpected(result.error());
  return {};
}

/// Like `withoutValue`, but these two error codes also count as success.
StoreResult<> unless(const StoreResult<long>& result, int first, int second) {
  if (result || result.error().errorCode == first || result.error().errorCode == second) return {};
  return std::unexpected(result.error());
}

/// Blocks SIGXFSZ for a scope if the process has a limit for the size of files. Exceeding the limit would otherwise end
/// the process.
class FileSizeSignal {
 public:
  FileSizeSignal() noexcept {
    rlimit limit{};
    isLimited_ = ::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
    if (!isLimited_) return;
    sigset_t pending;
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGXFSZ) == 1;
    ::sigemptyset(&signal_);
    ::sigaddset(&signal_, SIGXFSZ);
    ::pthread_sigmask(SIG_BLOCK, &signal_, &former_);
  }
  ~FileSizeSignal() {
    if (!isLimited_) return;
    const int error = errno;
    constexpr timespec atOnce{};
    if (!wasPending_) {
      while (::sigtimedwait(&signal_, nullptr, &atOnce) < 0 && errno == EINTR) {
      }
    }
    ::pthread_sigmask(SIG_SETMASK, &former_, nullptr);
    errno = error;
  }
  FileSizeSignal(const FileSizeSignal&) = delete;
  FileSizeSignal& operator=(const FileSizeSignal&) = delete;

 private:
  bool isLimited_ = false;
  bool wasPending_ = false;
  sigset_t signal_{};
  sigset_t former_{};
};

}  // namespace

SettingsFileSystem::~SettingsFileSystem() = default;

SettingsFileSystem& SettingsFileSystem::shared() noexcept {
  static auto& system = *new SettingsFileSystem;
  return system;
}

SettingsFileSystem::Fate SettingsFileSystem::before(Call /*call*/, const std::string& /*path*/) { return {}; }

template <typename Function>
StoreResult<long> SettingsFileSystem::make(Call call, const std::string& path, Function function) {
  for (;;) {
    const Fate fate = before(call, path);
    long result = -1;
    if (fate.errorCode != 0) {
      errno = fate.errorCode;
    } else {
      result = static_cast<long>(function(fate));
    }
    if (result >= 0) return result;
    if (errno != EINTR) return std::unexpected(StoreProblem::of(errno));
  }
}

StoreResult<OwnedDescriptor> SettingsFileSystem::open(const std::string& path, int flags, mode_t mode) {
  const auto result =
      make(Call::open, path, [&](const Fate&) { return ::open(path.c_str(), flags | O_CLOEXEC, mode); });
  if (!result) return std::unexpected(result.error());
  return OwnedDescriptor(static_cast<int>(*result));
}

StoreResult<struct stat> SettingsFileSystem::status(const std::string& path) {
  struct stat status{};
  const auto result = make(Call::status, path, [&](const Fate&) { return ::stat(path.c_str(), &status); });
  if (!result) return std::unexpected(result.error());
  return status;
}

StoreResult<struct stat> SettingsFileSystem::status(int descriptor) {
  struct stat status{};
  const auto result = make(Call::status, noPath(), [&](const Fate&) { return ::fstat(descriptor, &status); });
  if (!result) return std::unexpected(result.error());
  return status;
}

bool SettingsFileSystem::mayWrite(const std::string& path) {
  return make(Call::status, path, [&](const Fate&) { return ::access(path.c_str(), W_OK); }).has_value();
}

StoreResult<> SettingsFileSystem::read(int descriptor, std::uint64_t offset, std::size_t size, std::string& bytes) {
  // Another program may have made a file larger than all memory. The allocation of so much memory would end the
  // process.
  if (size >= largeRead && static_cast<std::int64_t>(size) > availableMemory()) {
    return failure(StoreFault::outOfMemory, ENOMEM);
  }
  bytes.resize(size);
  std::size_t count = 0;
  while (count < size) {
    const auto part = make(Call::read, noPath(), [&](const Fate&) {
      return ::pread(descriptor, bytes.data() + count, size - count, static_cast<off_t>(offset + count));
    });
    if (!part) return std::unexpected(part.error());
    if (*part == 0) break;
    count += static_cast<std::size_t>(*part);
  }
  bytes.resize(count);
  return {};
}

StoreResult<std::size_t> SettingsFileSystem::write(int descriptor, std::string_view bytes) {
  const FileSizeSignal signal;
  const auto result = make(Call::write, noPath(), [&](const Fate& fate) {
    return ::write(descriptor, bytes.data(), std::min(bytes.size(), fate.maximumBytes));
  });
  if (!result) return std::unexpected(result.error());
  return static_cast<std::size_t>(*result);
}

StoreResult<> SettingsFileSystem::writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const auto part = write(descriptor, bytes);
    if (!part) return std::unexpected(part.error());
    bytes.remove_prefix(*part);
  }
  return {};
}

StoreResult<> SettingsFileSystem::allocate(int descriptor, std::uint64_t offset, std::uint64_t size) {
  return unless(make(Call::allocate, noPath(),
                     [&](const Fate&) {
                       return ::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset),
                                          static_cast<off_t>(size));
                     }),
                EOPNOTSUPP, ENOSYS);
}

StoreResult<> SettingsFileSystem::synchronize(int descriptor) {
  return unless(make(Call::synchronize, noPath(), [&](const Fate&) { return ::fsync(descriptor); }), EINVAL, EINVAL);
}

StoreResult<> SettingsFileSystem::link(const std::string& from, const std::string& to) {
  return withoutValue(make(Call::link, from, [&](const Fate&) { return ::link(from.c_str(), to.c_str()); }));
}

StoreResult<> SettingsFileSystem::rename(const std::string& from, const std::string& to, Replacing replacing) {
  return withoutValue(make(Call::rename, from, [&](const Fate&) {
    if (replacing == Replacing::refuse) return renameWithoutReplacing(from.c_str(), to.c_str());
    const unsigned flag = replacing == Replacing::exchange ? RENAME_EXCHANGE : 0;
    return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flag);
  }));
}

StoreResult<> SettingsFileSystem::remove(const std::string& path) { return removeFrom(AT_FDCWD, path.c_str()); }

StoreResult<> SettingsFileSystem::removeFrom(int directory, const char* name) {
  return unless(make(Call::remove, noPath(), [&](const Fate&) { return ::unlinkat(directory, name, 0); }), ENOENT,
                ENOENT);
}

StoreResult<> SettingsFileSystem::createDirectory(const std::string& path) {
  return unless(make(Call::createDirectory, path, [&](const Fate&) { return ::mkdir(path.c_str(), 0700); }), EEXIST,
                EEXIST);
}

StoreResult<> SettingsFileSystem::lock(int descriptor, LockMode mode) {
  const int operation = (mode == LockMode::shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
  return withoutValue(make(Call::lock, noPath(), [&](const Fate&) { return ::flock(descriptor, operation); }));
}

void SettingsFileSystem::unlock(int descriptor) noexcept { ::flock(descriptor, LOCK_UN); }

StoreResult<std::string> SettingsFileSystem::readLink(const std::string& path) {
  std::array<char, PATH_MAX> target{};
  const auto size =
      make(Call::readLink, path, [&](const Fate&) { return ::readlink(path.c_str(), target.data(), target.size()); });
  if (!size) return std::unexpected(size.error());
  return std::string(target.data(), static_cast<std::size_t>(*size));
}

StoreResult<> SettingsFileSystem::setMode(int descriptor, mode_t mode) {
  return unless(make(Call::setMode, noPath(), [&](const Fate&) { return ::fchmod(descriptor, mode); }), EPERM, ENOTSUP);
}

void SettingsFileSystem::setOwner(int descriptor, uid_t user, gid_t group) noexcept {
  [[maybe_unused]] const int ignored = ::fchown(descriptor, user, group);
}

}  // namespace Tessaly::inline v1::detail
