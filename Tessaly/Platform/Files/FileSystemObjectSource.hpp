// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <functional>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Files/FileSystemEvent.hpp"

namespace Tessaly::inline v1 {

/// Tells of what happens to an open file, on a queue, until it is cancelled. `FileManager` makes it.
///
/// It follows the file object, not its name: after an atomic replacement it tells that the old file was removed, and
/// nothing of the new one. Prefer `fileChanges` to follow a name.
///
/// Its handlers are called one at a time. Events that come while a call is due or under way are gathered into one
/// later call.
///
/// Thread contract: thread-safe.
///
///     const OS_dispatch_queue queue = OS_dispatch_queue::global();
///     auto source = files.makeFileSystemObjectSource(handle->fileDescriptor(), FileSystemEvent::write, queue);
///     source->setEventHandler([reload] { reload(); });
///     source->setCancelHandler([handle] { handle->close(); });
///     source->resume();
class TESSALY_EXPORT FileSystemObjectSource {
 public:
  virtual ~FileSystemObjectSource();
  FileSystemObjectSource(const FileSystemObjectSource&) = delete;
  FileSystemObjectSource& operator=(const FileSystemObjectSource&) = delete;

  /// Called when one of the kinds that were asked for has happened. Before `resume()` only.
  virtual void setEventHandler(std::function<void()> handler) = 0;
  /// Called once after `cancel()`; no event is told afterwards. The place to close the descriptor. Before `resume()`
  /// only.
  virtual void setCancelHandler(std::function<void()> handler) = 0;
  /// Starts. Throws `POSIXError` where the system refuses.
  virtual void resume() = 0;
  /// Ends. Idempotent; does not wait.
  virtual void cancel() noexcept = 0;
  /// What has fired, all kinds included, for the event handler under way.
  [[nodiscard]] virtual FileSystemEvent data() const noexcept = 0;

 protected:
  FileSystemObjectSource() noexcept = default;
};

}  // namespace Tessaly::inline v1
