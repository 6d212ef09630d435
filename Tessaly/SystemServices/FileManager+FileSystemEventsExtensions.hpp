// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <functional>
#include <optional>
#include <variant>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/Measurement.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/AsyncCompactMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncMergeSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Platform/Files/FileChange.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::inline v1 {

/// The writes of one file, without values: what `writeFileSystemEvents` gives.
using FileSystemEvents = AsyncThrowingStream<std::monostate>;

/// A file's contents, now and after each write: what `writeFileSystemEventsWithData` gives.
using FileSystemEventsWithData = AsyncMergeSequence<
    AsyncCompactMapSequence<FileSystemEvents, std::function<Async<std::optional<Data>>(std::monostate)>>,
    AsyncThrowingStream<Data>>;

/// The changes of what a path leads to: what `fileChanges` gives.
using FileChanges = AsyncThrowingStream<FileChange>;

/// An empty element for each write of the file.
///
/// Each `next()` waits until the file exists, looking for it every so many seconds, then opens it, waits for a write,
/// and closes it again: no descriptor is held between elements, and a write that falls between two waits is missed. A
/// replacement is no write of the file, but a wait that is under way moves on to the new file as soon as it exists, so
/// that its next write ends the wait. A change of the modification time alone, the access time left as it is, is
/// reported by the kernel as a write, and counts as one. Use `fileChanges` where nothing may be missed.
///
/// It fails with a `POSIXError` when the file cannot be opened (code 257 when access is refused), which is also logged;
/// with `CancellationError` when the task is cancelled while there is no file. An interval below a millisecond counts
/// as one.
///
/// Thread contract: thread-safe.
///
///     auto writes = writeFileSystemEvents(FileManager::default_(), file, 0.5).makeAsyncIterator();
///     while (co_await writes.next()) reload();
[[nodiscard]] TESSALY_EXPORT FileSystemEvents writeFileSystemEvents(FileManager& files, const URL& at,
                                                                    double existenceCheckTimeInterval,
                                                                    Clock& clock = ContinuousClock::shared());

/// The file's contents now, then after each write, merged in the order in which they arrive.
///
/// The first contents are read before this returns; if that fails, so does the sequence. Where a later read fails,
/// there is no element. See `writeFileSystemEvents` for what counts as a write.
///
/// Main-isolated: elsewhere it stops the process.
///
///     auto contents = writeFileSystemEventsWithData(FileManager::default_(), file, 0.5).makeAsyncIterator();
///     while (auto data = co_await contents.next()) show(*data);
[[nodiscard]] TESSALY_EXPORT FileSystemEventsWithData writeFileSystemEventsWithData(
    FileManager& files, const URL& at, double existenceCheckTimeInterval, Clock& clock = ContinuousClock::shared());

/// Waits until the file is removed, or another takes its name. Fails as `writeFileSystemEvents` does where there is no
/// such file, and with `CancellationError` when the task is cancelled. The watch is set up on the main queue.
///
/// Thread contract: thread-safe.
///
///     co_await nextFileSystemDelete(FileManager::default_(), lockFile);
[[nodiscard]] TESSALY_EXPORT Async<void> nextFileSystemDelete(FileManager& files, URL at);

/// An element whenever what the path leads to is not what it was at the last one, or at this call: its contents were
/// written, it was replaced, removed, or came back. Never misses a change: one that happens between two calls of
/// `next()` is told at once by the second; several are told as one.
///
/// Every name on the path is followed, symbolic links and directories that are not there yet included. A write counts
/// even if it wrote what was there before; a change of attributes does not. A change of the modification time alone
/// counts where the kernel reports it as a write: when the file was opened for writing meanwhile, as touch(1) does, and
/// when the access time was left as it is. Writing through a mapping is seen when the file is closed. Remote volumes,
/// and files that cannot be read, are looked at every second. It fails with a `POSIXError` when the system's limit of
/// watches is reached. One task at a time may wait; a second one stops the process.
///
/// Thread contract: thread-safe.
///
///     auto changes = fileChanges(FileManager::default_(), file).makeAsyncIterator();
///     reload();
///     while (co_await changes.next()) reload();
[[nodiscard]] TESSALY_EXPORT FileChanges fileChanges(FileManager& files, const URL& at,
                                                     Clock& clock = ContinuousClock::shared());

/// Writes a file in place, after making the folders that it lacks. With `excludeFromBackup`, its folder, not the file,
/// is marked as not worth a backup. Throws what the file manager throws; what was done before stays done.
///
/// Thread contract: thread-safe. Blocks on the file system.
TESSALY_EXPORT void writeData(FileManager& files, const Data& data, const URL& to, bool excludeFromBackup);

/// What may still be written to the volume of the user's home folder; 0 bytes where that cannot be told.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT Measurement<UnitInformationStorage> availableDiskMemoryBytes(FileManager& files) noexcept;

/// The application's own data folder: in the first application-support folder, the one named by the main bundle's
/// identifier; in a sandbox, that folder itself. It need not exist.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT URL rootDirectory(FileManager& files);

}  // namespace Tessaly::inline v1
