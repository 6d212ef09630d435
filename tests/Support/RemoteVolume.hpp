// SPDX-License-Identifier: MIT
#pragma once

#include <linux/magic.h>
#include <sys/mount.h>
#include <sys/vfs.h>

#include <csignal>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/URL.hpp"
#include "tests/Support/MemoryVolume.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::Tests {

/// A volume that others can write without an event on this system. It is a directory behind a file system in user space
/// without caches. Make it before the first thread.
class RemoteVolume {
 public:
  /// `reason()` says why it is missing. The options are those of bindfs.
  explicit RemoteVolume(const std::vector<std::string>& options = {}) : reason_(enterMountNamespace()) {
    if (!reason_.empty()) return;
    std::vector<std::string> command{"bindfs", "-f", "-o", "attr_timeout=0,entry_timeout=0,negative_timeout=0"};
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(), {origin_.path(), volume_.path()});
    process_ = Process(command);
    const auto isThere = [&] {
      struct statfs volume{};
      return ::statfs(volume_.path().c_str(), &volume) == 0 && volume.f_type == FUSE_SUPER_MAGIC;
    };
    if (!waitUntil(isThere)) reason_ = "bindfs cannot mount a volume";
  }
  RemoteVolume(const RemoteVolume&) = delete;
  RemoteVolume& operator=(const RemoteVolume&) = delete;
  ~RemoteVolume() { ::umount2(volume_.path().c_str(), MNT_DETACH); }

  /// Empty if the volume exists.
  [[nodiscard]] const std::string& reason() const { return reason_; }
  /// Between these calls the volume does not answer.
  void suspend() const { process_.signal(SIGSTOP); }
  void resume() const { process_.signal(SIGCONT); }
  /// Ends the program behind the volume. The volume stays, without contents.
  void lose() {
    process_.signal(SIGKILL);
    static_cast<void>(process_.wait());
  }
  /// The path of a file for another computer.
  [[nodiscard]] std::string theirs(const std::string& name) const { return origin_.path() + "/" + name; }
  /// The path of the same file on this system.
  [[nodiscard]] std::string ours(const std::string& name) const { return volume_.path() + "/" + name; }

 private:
  TemporaryFolder origin_;
  TemporaryFolder volume_;
  Process process_;
  std::string reason_;
};

}  // namespace Tessaly::Tests
