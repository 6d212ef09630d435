// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/detail/AvailableMemory.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::size_t largeRead = std::size_t{64} << 20;

}  // namespace

int lockFile(int descriptor, LockMode mode, Patience patience) noexcept {
  const int operation = (mode == LockMode::shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
  using Clock = std::chrono::steady_clock;
  std::optional<Clock::time_point> end;
  for (auto pause = std::chrono::microseconds(10);; pause = std::min(pause * 2, std::chrono::microseconds(100))) {
    if (::flock(descriptor, operation) == 0) return 0;
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK || patience == Patience::none) return errno;
    if (!end) end = Clock::now() + lockPatience;
    if (Clock::now() > *end) return EWOULDBLOCK;
    std::this_thread::sleep_for(pause);
  }
}

FileIdentity identityOf(const struct stat& status) noexcept {
  return {.inode = status.st_ino,
          .size = static_cast<std::uint64_t>(status.st_size),
          .modified = static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec};
}

FileIdentity identityAt(const std::string& path) noexcept {
  struct stat status{};
  return ::stat(path.c_str(), &status) == 0 ? identityOf(status) : FileIdentity{};
}

std::optional<FileContents> readFile(const std::string& path) {
  const OwnedDescriptor file = openFile(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file.isOpen()) return std::nullopt;
  struct stat before{};
  if (::fstat(file.get(), &before) != 0) return std::nullopt;
  if (!S_ISREG(before.st_mode)) {
    errno = S_ISDIR(before.st_mode) ? EISDIR : EINVAL;
    return std::nullopt;
  }
  FileContents contents{.bytes = {}, .identity = identityOf(before)};
  if (const int error = readAt(file.get(), 0, static_cast<std::size_t>(before.st_size), contents.bytes)) {
    errno = error;
    return std::nullopt;
  }
  struct stat after{};
  if (::fstat(file.get(), &after) != 0 || identityOf(after) != contents.identity) {
    errno = EAGAIN;
    return std::nullopt;
  }
  return contents;
}

int readAt(int descriptor, std::uint64_t offset, std::size_t size, std::string& bytes) {
  // Somebody may have made a file larger than all memory, which to ask for would end the process.
  if (size >= largeRead && static_cast<std::int64_t>(size) > availableMemory()) return ENOMEM;
  bytes.resize(size);
  const Transferred received = readFullAt(descriptor, bytes.data(), size, static_cast<off_t>(offset));
  bytes.resize(received.count);
  return received.error;
}

int reserve(int descriptor, std::uint64_t offset, std::uint64_t size) noexcept {
  if (::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset), static_cast<off_t>(size)) == 0) return 0;
  return errno == EOPNOTSUPP || errno == ENOSYS || errno == EINTR ? 0 : errno;
}

int makeFolders(const std::string& path) {
  if (::mkdir(path.c_str(), 0700) == 0) return 0;
  if (errno == EEXIST) return 0;
  if (errno != ENOENT) return errno;
  const std::string above = folderOfPath(path);
  if (above == path) return ENOENT;
  if (const int error = makeFolders(above)) return error;
  return ::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST ? 0 : errno;
}

std::string followed(const std::string& path) {
  std::string current = path;
  for (int links = 0; links < 40; ++links) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlink(current.c_str(), target.data(), target.size());
    if (size < 0) return current;
    const std::string_view next(target.data(), static_cast<std::size_t>(size));
    current = next.starts_with('/') ? std::string(next) : folderOfPath(current) + '/' + std::string(next);
  }
  return path;
}

std::string folderOfPath(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

int synchronizeFolder(const std::string& path) noexcept {
  const OwnedDescriptor folder = openFile(path.c_str(), O_RDONLY | O_DIRECTORY);
  if (!folder.isOpen()) return errno == EACCES ? 0 : errno;
  return ::fsync(folder.get()) == 0 || errno == EINVAL ? 0 : errno;
}

void removeAbandoned(const std::string& beginning) {
  const auto limit = std::filesystem::file_time_type::clock::now() - std::chrono::minutes(1);
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folderOfPath(beginning), error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string& path = entry->path().native();
    const bool isNumbered = path.starts_with(beginning) && path.size() > beginning.size() &&
                            path.find_first_not_of("0123456789", beginning.size()) == std::string::npos;
    std::error_code ignored;
    if (!isNumbered || !entry->is_regular_file(ignored)) continue;
    if (entry->last_write_time(ignored) < limit && !ignored) std::filesystem::remove(entry->path(), ignored);
  }
}

std::optional<std::string> setAside(const std::string& path, const std::string& as) {
  const std::filesystem::path whole(as);
  const std::string stem = (whole.parent_path() / whole.stem()).string() + ".damaged";
  for (int number = 1; number <= 1000; ++number) {
    std::string name = stem + (number == 1 ? "" : "-" + std::to_string(number)) + whole.extension().string();
    if (::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0) return name;
    if (errno == EEXIST) continue;
    if (errno != EINVAL && errno != ENOSYS) return std::nullopt;
    if (!identityAt(name).isNone()) continue;
    if (::rename(path.c_str(), name.c_str()) == 0) return name;
    return std::nullopt;
  }
  return std::nullopt;
}

std::optional<std::string> settingsFolder(std::string_view identifier) {
  if (identifier.empty() || identifier == "." || identifier == ".." || identifier.size() > NAME_MAX ||
      identifier.find('/') != std::string_view::npos || identifier.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  const ProcessInfo& process = ProcessInfo::processInfo();
  const std::optional<std::string> configuration = process.environmentValue("XDG_CONFIG_HOME");
  if (configuration && configuration->starts_with('/')) return *configuration + '/' + std::string(identifier);
  std::optional<std::string> home = process.environmentValue("HOME");
  if (!home || home->empty()) {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 4096> space{};
    ::getpwuid_r(::getuid(), &entry, space.data(), space.size(), &found);
    if (found == nullptr || found->pw_dir == nullptr) return std::nullopt;
    home = found->pw_dir;
  }
  if (!home->starts_with('/')) return std::nullopt;
  return *home + "/.config/" + std::string(identifier);
}

}  // namespace Tessaly::inline v1::detail
