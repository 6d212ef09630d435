// SPDX-License-Identifier: MIT
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/FoundationExtensions/Error+Extensions.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "Tessaly/SystemServices/detail/Follower.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr const char* sourceFile = "Tessaly/FileManager+FileSystemEventsExtensions";
// Frozen: crash reports are grouped by this line.
constexpr unsigned initialReadLine = 42;
/// The code of a refusal of access, in the domain of system errors.
constexpr int accessRefused = 257;

/// An event for the task that waits for a write.
enum class Sign : std::uint8_t { fired, pathMayLeadElsewhere };
using Signs = AsyncThrowingStream<Sign>;

/// Watches a file until the consumer of the signs ends. If the file cannot be watched, returns null, and the signs end
/// with the error.
std::shared_ptr<FileSystemObjectSource> watchFile(FileManager& files, const URL& file, FileSystemEvent mask,
                                                  const Signs::Continuation& signs) {
  const auto fail = [&](const std::exception_ptr& error) {
    files.stopAccessingSecurityScopedResource(file);
    errorPublic(Logger::make("Tessaly", Type<FileSystemEvent>()), logDescription(error));
    signs.finish(error);
    return nullptr;
  };
  if (!files.startAccessingSecurityScopedResource(file)) {
    return fail(std::make_exception_ptr(POSIXError(accessRefused)));
  }
  try {
    auto handle = std::make_shared<FileHandle>(files.openForReading(file));
    auto source = files.makeFileSystemObjectSource(handle->fileDescriptor(), mask, OS_dispatch_queue::global());
    source->setEventHandler([source = std::weak_ptr(source), mask, signs] {
      const auto fired = source.lock();
      if (fired != nullptr && fired->data().contains(mask)) signs.yield(Sign::fired);
    });
    source->setCancelHandler([handle = std::move(handle), signs]() mutable {
      handle.reset();  // Closes the file.
      signs.finish();
    });
    source->resume();
    signs.setOnTermination([&files, file, source](const StreamTermination&) {
      source->cancel();
      files.stopAccessingSecurityScopedResource(file);
    });
    return source;
  } catch (...) {
    return fail(std::current_exception());
  }
}

/// Ends a watch, and waits until its descriptor is closed. Throws the error of a watch that could not begin.
Async<void> endWatch(std::shared_ptr<FileSystemObjectSource> source, Signs::AsyncIterator& iterator) {
  if (source != nullptr) source->cancel();
  while (co_await iterator.next()) {
  }
}

Async<std::optional<FileChange>> takeChange(FileChangeSource& source) {
  if (!source.needsPolling()) co_return source.takeChange();
  co_return co_await runBlocking([&] { return source.takeChange(); });
}

std::chrono::nanoseconds intervalOf(double seconds) noexcept {
  constexpr double year = 365.0 * 24 * 60 * 60;
  const double bounded = seconds > 0.001 ? std::min(seconds, year) : 0.001;
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(bounded));
}

/// Follows the path while an element is awaited, so that the watch can change to another file that takes the name. Null
/// if the path cannot be followed, for example because the system has no watch left. Then the present watch stays with
/// its file.
std::unique_ptr<FileChangeSource> followPath(FileManager& files, const URL& file, const Signs::Continuation& signs) {
  try {
    return files.makeFileChangeSource(file, [signs] { signs.yield(Sign::pathMayLeadElsewhere); });
  } catch (const std::exception&) {
    return nullptr;
  }
}

/// The reason why a watch ended: a write, another file under the path, or the end of the events.
enum class WatchEnd : std::uint8_t { wasWritten, leadsElsewhere, byItself };

/// Watches the present file of the path, until it is written or the path leads to another file.
Async<WatchEnd> watchForAWrite(FileManager& files, const URL& file, Clock& clock) {
  const auto [stream, signs] = Signs::makeStream();
  auto iterator = stream.makeAsyncIterator();
  // The path is followed before the file is opened, so that no change is lost in between.
  const auto path = followPath(files, file, signs);
  const auto source = watchFile(files, file, FileSystemEvent::write, signs);
  for (;;) {
    std::optional<Task<>> timer;
    if (path != nullptr && path->needsPolling()) {
      timer = detail::yieldAfter(detail::pollingInterval, clock, signs, Sign::pathMayLeadElsewhere);
    }
    const auto sign = co_await iterator.next();
    if (timer) timer->cancel();
    if (!sign) co_return WatchEnd::byItself;
    if (*sign == Sign::fired) {
      co_await endWatch(source, iterator);
      co_return WatchEnd::wasWritten;
    }
    const auto change = co_await takeChange(*path);
    if (change == FileChange::replaced || change == FileChange::returned) {
      co_await endWatch(source, iterator);
      co_return WatchEnd::leadsElsewhere;
    }
  }
}

Async<std::optional<std::monostate>> nextWrite(FileManager* files, URL file, std::chrono::nanoseconds interval,
                                               Clock* clock) {
  const std::string path = file.path();
  for (;;) {
    while (!files->fileExists(path)) co_await Task<>::sleep(interval, *clock);
    const WatchEnd end = co_await watchForAWrite(*files, file, *clock);
    if (end == WatchEnd::wasWritten) co_return std::monostate();
    if (end == WatchEnd::byItself) co_return std::nullopt;
  }
}

Async<std::optional<Data>> readAfresh(FileManager* files, URL file) {
  co_return co_await runBlocking([files, file = std::move(file)]() -> std::optional<Data> {
    try {
      return files->contents(file);
    } catch (const std::exception&) {
      return std::nullopt;
    }
  });
}

/// The state of a sequence of file changes. The changes since the construction count, so the source is made then.
class FileFollower : public detail::Follower<FileChangeSource> {
 public:
  FileFollower(FileManager& files, const URL& file, Clock& clock)
      : Follower(clock, [files = &files, file](std::function<void()> wake) {
          return files->makeFileChangeSource(file, std::move(wake));
        }) {
    try {
      (void)source();
    } catch (...) {
      error_ = std::current_exception();
    }
  }

  static Async<std::optional<FileChange>> next(std::shared_ptr<FileFollower> self) {
    const SoleConsumer consumer(*self, sourceFile, __LINE__);
    if (self->error_ != nullptr) std::rethrow_exception(self->error_);
    for (;;) {
      if (const auto change = co_await takeChange(self->source())) co_return change;
      if (!co_await wake(*self)) co_return std::nullopt;
    }
  }

 private:
  std::exception_ptr error_;
};

}  // namespace

FileSystemEvents writeFileSystemEvents(FileManager& files, const URL& at, double existenceCheckTimeInterval,
                                       Clock& clock) {
  return FileSystemEvents::unfolding([files = &files, file = at, interval = intervalOf(existenceCheckTimeInterval),
                                      clock = &clock] { return nextWrite(files, file, interval, clock); });
}

FileSystemEventsWithData writeFileSystemEventsWithData(FileManager& files, const URL& at,
                                                       double existenceCheckTimeInterval, Clock& clock) {
  std::function<Async<std::optional<Data>>(std::monostate)> read = [files = &files, file = at](std::monostate) {
    return readAfresh(files, file);
  };
  return merge(compactMap(writeFileSystemEvents(files, at, existenceCheckTimeInterval, clock), std::move(read)),
               AsyncThrowingStream<Data>([&](const AsyncThrowingStream<Data>::Continuation& continuation) {
                 assertMainIsolated(sourceFile, initialReadLine);
                 try {
                   continuation.yield(files.contents(at));
                   continuation.finish();
                 } catch (...) {
                   continuation.finish(std::current_exception());
                 }
               }));
}

Async<void> nextFileSystemDelete(FileManager& files, URL at) {
  return [](FileManager* manager, URL file) -> Async<void> {
    co_await withIsolation(Isolation::main(), [&]() -> Async<void> {
      const auto [stream, signs] = Signs::makeStream();
      auto iterator = stream.makeAsyncIterator();
      const auto source = watchFile(*manager, file, FileSystemEvent::delete_, signs);
      if (!co_await iterator.next()) throw CancellationError();
      co_await endWatch(source, iterator);
    });
  }(&files, std::move(at));
}

FileChanges fileChanges(FileManager& files, const URL& at, Clock& clock) {
  return FileChanges::unfolding(
      [follower = std::make_shared<FileFollower>(files, at, clock)] { return FileFollower::next(follower); });
}

void writeData(FileManager& files, const Data& data, const URL& to, bool excludeFromBackup) {
  const URL folder = to.deletingLastPathComponent();
  files.createDirectory(folder, IntermediateDirectories::created);
  files.write(data, to);
  if (excludeFromBackup) files.setIsExcludedFromBackup(true, folder);
}

Measurement<UnitInformationStorage> availableDiskMemoryBytes(FileManager& files) noexcept {
  double bytes = 0;
  try {
    const auto capacity = files.volumeAvailableCapacityForImportantUsage(files.homeDirectoryForCurrentUser());
    bytes = static_cast<double>(capacity.value_or(0));
  } catch (...) {
    bytes = 0;
  }
  return {bytes, UnitInformationStorage::bytes};
}

URL rootDirectory(FileManager& files) {
  const auto folders = files.applicationSupportDirectories();
  if (folders.empty()) fatalError("Index out of range", sourceFile, __LINE__);
  if (ProcessInfo::processInfo().environmentValue("APP_SANDBOX_CONTAINER_ID")) return folders.front();
  return folders.front().appendingPathComponent(Bundle::main().bundleIdentifier().value_or(""),
                                                URL::DirectoryHint::isDirectory);
}

}  // namespace Tessaly::inline v1
