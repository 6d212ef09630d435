// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Files/DirectoryEntry.hpp"

namespace Tessaly::inline v1 {

/// The observed entries: only the entries of a directory, or also the entries of all its subdirectories.
enum class DirectoryDepth : std::uint8_t { entries, tree };

/// A difference in one entry between an earlier and the present state of a directory.
///
/// A host that keeps a model of the directory must apply the changes in their order. When a directory disappears or
/// is renamed, one change stands for the directory and for everything in it.
///
/// Thread contract: thread-compatible.
///
///     if (change.kind == DirectoryChange::Kind::renamed) list.rename(change.formerPath, change.entry.path);
struct DirectoryChange {
  enum class Kind : std::uint8_t {
    appeared,
    changed,      ///< The entry was written, or one of its `FileAttributes` changed.
    renamed,      ///< The entry moved from `formerPath`. After the earlier changes, no entry has its new path.
    disappeared,  ///< `entry` has the last known attributes.
  };

  Kind kind = Kind::appeared;
  DirectoryEntry entry;
  /// The path before the change. Set for `renamed` only.
  std::string formerPath;

  friend bool operator==(const DirectoryChange&, const DirectoryChange&) noexcept = default;
};

/// "appeared", "changed", "renamed" or "disappeared".
[[nodiscard]] TESSALY_EXPORT std::string_view description(DirectoryChange::Kind kind) noexcept;

/// A source of the changes in a directory, for `directoryChanges`. `FileManager` makes the source.
///
/// Thread contract: thread-compatible. The wake handler is the function that `FileManager::makeDirectorySource`
/// received. It is called on any thread, also inside `takeChanges()`. A call may still follow after the source was
/// destroyed. The handler must return soon, because no events of any file are read while it runs.
///
///     auto source = files.makeDirectorySource(notes, DirectoryDepth::tree, [wakeConsumer] { wakeConsumer(); });
///     for (const DirectoryChange& change : source->takeChanges()) apply(change);
class TESSALY_EXPORT DirectorySource {
 public:
  virtual ~DirectorySource();
  DirectorySource(const DirectorySource&) = delete;
  DirectorySource& operator=(const DirectorySource&) = delete;

  /// The changes since the previous call that returned. The first call reports every entry as `appeared`. Throws
  /// `POSIXError`, for example `ENOENT` while the directory does not exist, or `ENOTDIR` if the path leads to something
  /// else. The error is `ENOSPC` when the system's limit of watches is reached. A later call may succeed again. Blocks
  /// on the file system.
  [[nodiscard]] virtual std::vector<DirectoryChange> takeChanges() = 0;
  /// Whether the caller must poll: call `takeChanges()` regularly, even if the wake handler is not called. True if the
  /// system sends no events for some of the directories, for example on remote volumes. Also true while some names must
  /// be examined again.
  [[nodiscard]] virtual bool needsPolling() const noexcept = 0;

 protected:
  DirectorySource() noexcept = default;
};

}  // namespace Tessaly::inline v1
