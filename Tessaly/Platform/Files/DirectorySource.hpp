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

/// How far down a directory is followed.
enum class DirectoryDepth : std::uint8_t { entries, tree };

/// How the contents of a directory differ from what they were, in one entry.
///
/// Changes are applied in their order: each is right for a model to which all earlier ones were applied. A directory
/// that disappears or is renamed takes along all that it holds, without a change for each.
///
/// Thread contract: thread-compatible.
///
///     if (change.kind == DirectoryChange::Kind::renamed) list.rename(change.formerPath, change.entry.path);
struct DirectoryChange {
  enum class Kind : std::uint8_t {
    appeared,
    changed,      ///< It was written, or one of its attributes is another.
    renamed,      ///< It came from `formerPath`; nothing has the path of `entry` before.
    disappeared,  ///< The attributes of `entry` are the last that were known.
  };

  Kind kind = Kind::appeared;
  DirectoryEntry entry;
  /// Only of `renamed`.
  std::string formerPath;

  friend bool operator==(const DirectoryChange&, const DirectoryChange&) noexcept = default;
};

/// "appeared", "changed", "renamed" or "disappeared".
[[nodiscard]] TESSALY_EXPORT std::string_view description(DirectoryChange::Kind kind) noexcept;

/// Follows the contents of a directory, for `directoryChanges`. `FileManager` makes it.
///
/// Thread contract: thread-compatible; the wake handler is called on any thread.
///
///     auto source = files.makeDirectorySource(notes, DirectoryDepth::tree, [wakeConsumer] { wakeConsumer(); });
///     for (const DirectoryChange& change : source->takeChanges()) apply(change);
class TESSALY_EXPORT DirectorySource {
 public:
  virtual ~DirectorySource();
  DirectorySource(const DirectorySource&) = delete;
  DirectorySource& operator=(const DirectorySource&) = delete;

  /// How the contents differ from what they were at the last call; at the first call from an empty directory. Throws
  /// `POSIXError`: `ENOENT` while there is no such directory, `ENOTDIR` where it is something else, `ENOSPC` when the
  /// system's limit of watches is reached. A later call may succeed again. Blocks on the file system.
  [[nodiscard]] virtual std::vector<DirectoryChange> takeChanges() = 0;
  /// Whether the system reports nothing of what happens in some directory of it, as on remote volumes.
  [[nodiscard]] virtual bool needsPolling() const noexcept = 0;

 protected:
  DirectorySource() noexcept = default;
};

}  // namespace Tessaly::inline v1
