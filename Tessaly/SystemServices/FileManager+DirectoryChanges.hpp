// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <chrono>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Platform/Files/DirectorySource.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::inline v1 {

/// The sequence of `directoryChanges`: in each element the changes to apply, in their order.
using DirectoryChanges = AsyncThrowingStream<std::vector<DirectoryChange>>;

/// How `directoryChanges` follows a directory.
///
/// Thread contract: thread-compatible.
///
///     auto changes = directoryChanges(files, notes, {.depth = DirectoryDepth::tree, .debounce = 200ms});
struct DirectoryOptions {
  /// Only the directory's own entries, or those of all directories below it too.
  DirectoryDepth depth = DirectoryDepth::entries;
  /// How long to gather changes after the first one before they are an element.
  std::chrono::nanoseconds debounce{0};
};

/// The contents of a directory: the first element lists them as appearances, every later one has what changed since.
///
/// A model to which all changes were applied equals the directory whenever nothing happens in it. That holds as well
/// after the kernel's queue has overflown, after another directory took the name, and however slowly the elements are
/// taken. Names that come and go between two elements are not reported. A file that is renamed within the directory
/// (or tree) is reported with both names.
///
/// Links are reported as links and not followed, but those on the path to the directory are. Directories that may not
/// be read are listed without contents. The size and the date of a subdirectory are those of the last look at it. A
/// write through a hard link outside of the directory is not reported; one through another name inside is.
///
/// On remote volumes (NFS, SMB, Ceph, 9P, AFS, Coda, FUSE), where the kernel reports only what this system does, each
/// entry is also looked at every second. A volume that numbers its files anew reports a file as gone and come.
///
/// It fails with a `POSIXError`: `ENOENT` when there is no such directory, or it was gone for a second; `ENOTDIR` when
/// something else has the name; `ENOSPC` when the system's limit of watches is reached. One task at a time may wait; a
/// second one stops the process.
///
/// One inotify instance serves the process. A watch is used for each directory, and no descriptor is held for it.
///
/// Thread contract: thread-safe.
///
///     std::map<std::string, FileAttributes> shown;
///     auto changes = directoryChanges(FileManager::default_(), notes).makeAsyncIterator();
///     while (auto some = co_await changes.next()) {
///       for (const DirectoryChange& change : *some) {
///         if (change.kind == DirectoryChange::Kind::renamed) shown.erase(change.formerPath);
///         if (change.kind == DirectoryChange::Kind::disappeared) {
///           shown.erase(change.entry.path);
///         } else {
///           shown[change.entry.path] = change.entry.attributes;
///         }
///       }
///     }
[[nodiscard]] TESSALY_EXPORT DirectoryChanges directoryChanges(FileManager& files, const URL& at,
                                                               DirectoryOptions options = {},
                                                               Clock& clock = ContinuousClock::shared());

}  // namespace Tessaly::inline v1
