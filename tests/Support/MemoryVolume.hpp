// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>

#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::Tests {

/// Gives this process its own mount points. Call it before the first thread, because user namespaces demand that.
/// Returns the reason of a failure, else an empty text.
inline std::string enterMountNamespace() {
  const uid_t user = ::getuid();
  const gid_t group = ::getgid();
  if (::unshare(CLONE_NEWNS) != 0) {
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return std::string("no mount namespace: ") + std::strerror(errno);
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
  }
  if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) return {};
  return std::string("no mount points of its own: ") + std::strerror(errno);
}

/// A small file system in memory, seen by this process only.
class MemoryVolume {
 public:
  /// `reason()` says why it is missing. The size has the form of mount options: "4m". A "ramfs" has none.
  explicit MemoryVolume(const char* size, const char* type = "tmpfs") : reason_(enterMountNamespace()) {
    if (!reason_.empty()) return;
    const std::string options = *size == '\0' ? "" : std::string("size=") + size;
    if (::mount(type, folder_.path().c_str(), type, 0, options.c_str()) != 0) {
      reason_ = std::string("no file system of its own: ") + std::strerror(errno);
    }
  }
  MemoryVolume(const MemoryVolume&) = delete;
  MemoryVolume& operator=(const MemoryVolume&) = delete;
  ~MemoryVolume() {
    if (reason_.empty()) ::umount2(folder_.path().c_str(), MNT_DETACH);
  }

  /// Empty if the volume exists.
  [[nodiscard]] const std::string& reason() const { return reason_; }
  [[nodiscard]] std::string path(const std::string& name = {}) const {
    return name.empty() ? folder_.path() : folder_.path() + "/" + name;
  }

  /// Fills the volume with a file of that name. Returns false if the writing failed before the volume was full.
  [[nodiscard]] bool fill(const std::string& name) const {
    const int file = ::open(path(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string block(4096, 'x');
    while (::write(file, block.data(), block.size()) > 0) {
    }
    const bool isFull = errno == ENOSPC;
    ::close(file);
    return isFull;
  }

 private:
  Tests::TemporaryFolder folder_;
  std::string reason_;
};

}  // namespace Tessaly::Tests
