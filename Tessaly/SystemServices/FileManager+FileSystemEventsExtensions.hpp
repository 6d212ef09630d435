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

/// The sequence of `writeFileSystemEvents`: the writes of one file, without values.
using FileSystemEvents = AsyncThrowingStream<std::monostate>;

/// The sequence of `writeFileSystemEventsWithData`: a file's contents, now and after each write.
using FileSystemEventsWithData = AsyncMergeSequence<
    AsyncCompactMapSequence<FileSystemEvents, std::function<Async<std::optional<Data>>(std::monostate)>>,
    AsyncThrowingStream<Data>>;

/// The sequence of `fileChanges`: the changes of the file that a path leads to.
using FileChanges = AsyncThrowingStream<FileChange>;

/// A sequence with one empty element for each noticed write of the file.
///
/// Each `next()` waits until the file exists, and checks the existence every `existenceCheckTimeInterval` seconds. Then
/// it opens the file, waits for a write, and closes the file. So no descriptor is open between elements, and a write
/// between two waits is not noticed. A replacement is not a write of the file. But a running wait continues with the
/// new file as soon as the new file exists. The next write of the new file ends the wait. A change of only the
/// modification time, with an unchanged access time, counts as a write, because the kernel reports this change as a
/// write. Use `fileChanges` if every change must be noticed.
///
/// The sequence fails with a `POSIXError` if the file cannot be opened (code 257 if a sandbox refuses access), and logs
/// the error. The sequence fails with `CancellationError` if the task is cancelled while the file does not exist. A
/// cancellation during the wait for a write ends the sequence without an error. An interval below 1 ms, or NaN, counts
/// as 1 ms.
///
/// Thread contract: thread-safe.
///
///     auto writes = writeFileSystemEvents(FileManager::default_(), file, 0.5).makeAsyncIterator();
///     while (co_await writes.next()) reload();
[[nodiscard]] TESSALY_EXPORT FileSystemEvents writeFileSystemEvents(FileManager& files, const URL& at,
                                                                    double existenceCheckTimeInterval,
                                                                    Clock& clock = ContinuousClock::shared());

/// The file's contents now and after each write, in the order of their arrival.
///
/// The first contents are read before this function returns. If this read fails, the sequence fails. A later read that
/// fails gives no element. The comment of `writeFileSystemEvents` explains the interval, and which changes count as a
/// write.
///
/// Two tasks fetch the elements. Destroying the sequence cancels the tasks and does not wait for them, so a file
/// manager of a test must outlive the tasks. `FileManager::default_()` lives until the process ends.
///
/// Main-isolated: a call on another thread stops the process.
///
///     auto contents = writeFileSystemEventsWithData(FileManager::default_(), file, 0.5).makeAsyncIterator();
///     while (auto data = co_await contents.next()) show(*data);
[[nodiscard]] TESSALY_EXPORT FileSystemEventsWithData writeFileSystemEventsWithData(
    FileManager& files, const URL& at, double existenceCheckTimeInterval, Clock& clock = ContinuousClock::shared());

/// Waits until the file is removed, or until another file is renamed to the name of this file. A rename of the file
/// itself does not end the wait. Fails with a `POSIXError` if the file does not exist or cannot be opened, and with
/// `CancellationError` if the task is cancelled. The main thread sets up the watch, so the main queue must be served.
///
/// Thread contract: thread-safe.
///
///     co_await nextFileSystemDelete(FileManager::default_(), lockFile);
[[nodiscard]] TESSALY_EXPORT Async<void> nextFileSystemDelete(FileManager& files, URL at);

/// The changes of the file that a path leads to: a write, a replacement, a removal, or a return after a removal. An
/// element covers the time since the previous element, or since the call of `fileChanges`. If changes happen between
/// two calls of `next()`, the second call returns at once, with one element for all of them. A file that appears and
/// disappears between two elements gives no element.
///
/// The sequence watches every name on the path, including symbolic links and missing directories. A write of equal
/// contents counts as a change. A change of attributes does not count. A change of only the modification time counts if
/// the kernel reports this change as a write. The kernel does so if the program opened the file for writing, as
/// touch(1) does, or left the access time unchanged. Writes through a mapping are noticed when the file is closed.
/// Files on remote volumes and unreadable files are checked every second. The sequence fails with a `POSIXError` if the
/// system's limit of watches is reached. Only one task at a time may wait; a second waiting task stops the process.
///
/// Thread contract: thread-safe.
///
///     auto changes = fileChanges(FileManager::default_(), file).makeAsyncIterator();
///     reload();
///     while (co_await changes.next()) reload();
[[nodiscard]] TESSALY_EXPORT FileChanges fileChanges(FileManager& files, const URL& at,
                                                     Clock& clock = ContinuousClock::shared());

/// Makes the missing parent directories of a file, and writes the file in place, without a temporary file. With
/// `excludeFromBackup`, the whole parent directory is excluded from backups, not only the file. Throws the errors of
/// the file manager. If a step fails, the steps before it are not reverted.
///
/// Thread contract: thread-safe. Blocks on the file system.
TESSALY_EXPORT void writeData(FileManager& files, const Data& data, const URL& to, bool excludeFromBackup);

/// The number of bytes that may still be written to the volume of the user's home directory. The number is 0 if the
/// volume does not report it, or after an error.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT Measurement<UnitInformationStorage> availableDiskMemoryBytes(FileManager& files) noexcept;

/// The application's own data directory. It is a directory in the first application-support directory, with the main
/// bundle's identifier as its name. The result is the application-support directory itself in two cases: the
/// environment contains "APP_SANDBOX_CONTAINER_ID", or the main bundle has no identifier. The directory need not exist.
/// Stops the process if the file manager has no application-support directory.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT URL rootDirectory(FileManager& files);

}  // namespace Tessaly::inline v1
