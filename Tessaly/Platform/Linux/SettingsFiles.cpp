// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <filesystem>

#include "Tessaly/Core/Foundation/ProcessInfo.hpp"

namespace Tessaly::inline v1::detail {

FileIdentity identityOf(const struct stat& status) noexcept {
  return {.inode = status.st_ino,
          .size = static_cast<std::uint64_t>(status.st_size),
          .modified = static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec};
}

FileIdentity identityAt(const std::string& path, SettingsFileSystem& files) {
  const auto status = files.status(path);
  return status ? identityOf(*status) : FileIdentity{};
}

ino_t inodeAt(const std::string& path, SettingsFileSystem& files) {
  const auto status = files.status(path);
  return status ? status->st_ino : 0;
}

StoreResult<FileContents> readFile(const std::string& path, SettingsFileSystem& files) {
  const auto file = files.open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file) return std::unexpected(file.error());
  const auto before = files.status(file->get());
  if (!before) return std::unexpected(before.error());
  if (!S_ISREG(before->st_mode)) return failure(StoreFault::notAFile, S_ISDIR(before->st_mode) ? EISDIR : EINVAL);
  FileContents contents{.bytes = {}, .identity = identityOf(*before)};
  const auto read = files.read(file->get(), 0, static_cast<std::size_t>(before->st_size), contents.bytes);
  if (!read) return std::unexpected(read.error());
  const auto after = files.status(file->get());
  if (!after) return std::unexpected(after.error());
  if (identityOf(*after) != contents.identity) return failure(StoreFault::system, EAGAIN);
  return contents;
}

StoreResult<> makeDirectories(const std::string& path, SettingsFileSystem& files) {
  const auto made = files.createDirectory(path);
  if (made || made.error().errorCode != ENOENT) return made;
  const std::string above = directoryOfPath(path);
  if (above == path) return made;
  if (const auto result = makeDirectories(above, files); !result) return result;
  return files.createDirectory(path);
}

std::string followed(const std::string& path, SettingsFileSystem& files) {
  std::string current = path;
  for (int links = 0; links < 40; ++links) {
    const auto next = files.readLink(current);
    if (!next) return current;
    current = next->starts_with('/') ? *next : directoryOfPath(current) + '/' + *next;
  }
  return path;
}

std::string directoryOfPath(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

StoreResult<> synchronizePath(const std::string& path, int flags, SettingsFileSystem& files) {
  const auto opened = files.open(path, O_RDONLY | flags);
  if (opened) return files.synchronize(opened->get());
  if (opened.error().errorCode == EACCES) return {};
  return std::unexpected(opened.error());
}

void removeAbandoned(const std::string& beginning, SettingsFileSystem& files) {
  const auto limit = std::filesystem::file_time_type::clock::now() - std::chrono::minutes(1);
  std::error_code error;
  for (std::filesystem::directory_iterator entry(directoryOfPath(beginning), error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string& path = entry->path().native();
    const bool isNumbered = path.starts_with(beginning) && path.size() > beginning.size() &&
                            path.find_first_not_of("0123456789", beginning.size()) == std::string::npos;
    std::error_code ignored;
    if (!isNumbered || !entry->is_regular_file(ignored)) continue;
    if (entry->last_write_time(ignored) < limit && !ignored) static_cast<void>(files.remove(path));
  }
}

StoreResult<std::string> setAside(const std::string& path, const std::string& as, SettingAside manner,
                                  SettingsFileSystem& files) {
  const std::filesystem::path whole(as);
  const std::string stem = (whole.parent_path() / whole.stem()).string() + ".damaged";
  for (int number = 1; number <= 1000; ++number) {
    std::string name = stem + (number == 1 ? "" : "-" + std::to_string(number)) + whole.extension().string();
    const auto result =
        manner == SettingAside::keepBoth ? files.link(path, name) : files.rename(path, name, Replacing::refuse);
    if (result) return name;
    if (result.error().errorCode != EEXIST) return std::unexpected(result.error());
  }
  return failure(StoreFault::system, EEXIST);
}

std::optional<std::string> settingsDirectory(std::string_view identifier) {
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
