// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <vector>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Platform/Files/DirectorySource.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::inline v1 {

/// The sequence that `directoryChanges` returns. Each element is a vector of changes. A host that keeps a model of the
/// directory must apply the changes in their order.
using DirectoryChanges = AsyncThrowingStream<std::vector<DirectoryChange>>;

/// The options of `directoryChanges`.
///
/// Thread contract: thread-compatible.
///
///     auto changes = directoryChanges(files, notes, {.depth = DirectoryDepth::tree, .debounce = 200ms});
struct DirectoryOptions {
  /// Whether to follow only the directory's own entries, or also the entries of all its subdirectories.
  DirectoryDepth depth = DirectoryDepth::entries;
  /// The minimum time between two elements, and the maximum delay of a change while a task waits for the next element.
  /// When a quiet directory changes, the sequence waits for this time. The element also contains the changes meanwhile.
  /// If a task calls `next()` later than this time after the previous element, the changes until then come at once. The
  /// waits of polled directories, at most 1 s, are added to the delay.
  std::chrono::nanoseconds debounce{0};
};

/// A sequence of the contents of a directory and their changes. The first element lists all entries as `appeared`.
/// Every later element has the changes since the previous element.
///
/// After the directory has stopped changing and a host has applied all changes to a model, the model equals the
/// directory. This also holds after an overflow of the kernel's queue, after another directory has replaced this
/// directory at its path, and for a slow consumer. Names that appear and disappear between two elements are not
/// reported. A file that is renamed within the directory (or tree) is reported with both names. If two files exchange
/// their names, one of them is reported as disappeared and appeared.
///
/// Symbolic links in the directory are reported as links and not followed. Symbolic links on the path to the directory
/// are followed. Unreadable subdirectories are listed without contents. If a listing cannot read the attributes of a
/// single entry (`EIO`, `ENOTCONN` or `EACCES`), the entry counts as missing. The size and the date of a subdirectory
/// may be outdated, because they were read when the subdirectory was last examined. A write through a hard link outside
/// the directory is reported only if the entry is examined for another reason. A write through another hard link inside
/// the directory is reported, unless that link was made and removed between two elements.
///
/// On remote volumes (NFS, SMB, Ceph, 9P, AFS, Coda, FUSE) the kernel reports only changes by this system. So all
/// entries are also examined every second. They are also examined every second if the kernel refuses the permission to
/// watch a directory, or if a directory has no time of creation. If a volume gives a file a new inode number, the file
/// is reported as disappeared and appeared.
///
/// The sequence fails with a `POSIXError`, for example `ENOENT` if the directory does not exist or was missing for 1 s;
/// `ENOTDIR` if another kind of file has the name; `ENOSPC` if the system's limit of watches is reached. A cancelled
/// wait ends the sequence. Only one task at a time may wait; a second waiting task stops the process.
///
/// The first `next()` begins to follow the directory, on a thread that may block. The file manager must exist until
/// then. The process uses one inotify instance. Each followed directory, and each directory on the path to it, uses one
/// watch and no descriptor. An entry with a name of up to 15 bytes uses at most 200 bytes of memory.
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
