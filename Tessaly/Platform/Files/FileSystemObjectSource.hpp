// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <functional>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Files/FileSystemEvent.hpp"

namespace Tessaly::inline v1 {

/// A source of the events of an open file. Until the source is cancelled, it calls a handler on a queue. `FileManager`
/// makes the source.
///
/// A source follows the open file, not its name. After an atomic replacement the source reports that the old file was
/// removed, and reports nothing about the new file. To follow a name, use `fileChanges`.
///
/// The handlers are called one at a time. Events that arrive while a call is pending belong to that call. Events that
/// arrive while a call is running cause one later call.
///
/// Thread contract: thread-safe, except `setEventHandler`, `setCancelHandler` and `data`.
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

  /// Sets the handler that is called when an event of a requested kind has happened. Set this handler before
  /// `resume()`.
  virtual void setEventHandler(std::function<void()> handler) = 0;
  /// Sets the handler that is called once after `cancel()`. The event handler is not called after the cancel handler,
  /// so the cancel handler may close the descriptor. Set the cancel handler before `resume()`.
  virtual void setCancelHandler(std::function<void()> handler) = 0;
  /// Starts the notifications. Throws `POSIXError` if the system refuses.
  virtual void resume() = 0;
  /// Ends the notifications. Does not wait for a running call of the event handler. Later calls of `cancel()` do
  /// nothing.
  virtual void cancel() noexcept = 0;
  /// The kinds of the events that led to the running call of the event handler, including kinds that were not
  /// requested. Call this function only inside the event handler.
  [[nodiscard]] virtual FileSystemEvent data() const noexcept = 0;

 protected:
  FileSystemObjectSource() noexcept = default;
};

}  // namespace Tessaly::inline v1
