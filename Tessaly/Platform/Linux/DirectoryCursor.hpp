// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"

namespace Tessaly::inline v1::detail {

/// A place in a directory tree, which goes down into subdirectories and up again.
///
/// It follows no symbolic link, so a program that changes the tree meanwhile cannot lead the cursor out of the tree. It
/// keeps at most `openLevels` descriptors, because a tree may have more levels than this process may have descriptors.
///
/// Thread contract: thread-compatible.
class DirectoryCursor {
 public:
  /// Levels above this number are closed, and opened again on the way up.
  static constexpr std::size_t openLevels = 16;

  /// The descriptor of the present directory, or `AT_FDCWD` before the first call of `enter`.
  [[nodiscard]] int descriptor() const noexcept { return levels_.empty() ? AT_FDCWD : levels_.back().directory.get(); }
  /// The number of directories that were entered and not left.
  [[nodiscard]] std::size_t depth() const noexcept { return levels_.size(); }

  /// Enters a directory, and lists its names. The first directory may be any path. Throws `POSIXError`, for example
  /// `ENOTDIR` if the last part of the path is a symbolic link.
  void enter(const std::string& name);
  /// A name in the present directory that this function has not returned before, or nothing if no name is left. "." and
  /// ".." are no such names.
  [[nodiscard]] std::optional<std::string> nextName();
  /// Goes back to the directory above. Throws `POSIXError` (`ESTALE`) if that is closed and another program has moved
  /// the present directory out of it.
  void leave();

 private:
  struct Level {
    OwnedDescriptor directory;
    dev_t device = 0;
    ino_t inode = 0;
    std::vector<std::string> names;
  };

  std::vector<Level> levels_;
};

}  // namespace Tessaly::inline v1::detail
