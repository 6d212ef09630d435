// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The kind of a change to the file with a given name.
enum class FileChange : std::uint8_t {
  contents,  ///< The same file was written or truncated.
  replaced,  ///< Another file has the name now.
  removed,   ///< No file has the name any more.
  returned,  ///< A file has the name again.
};

/// "contents", "replaced", "removed" or "returned".
[[nodiscard]] TESSALY_EXPORT std::string_view description(FileChange change) noexcept;

/// A source that reports the changes of the file to which a path leads. `FileManager` makes the source, and
/// `fileChanges` uses it.
///
/// Thread contract: thread-compatible. The wake handler is the function that `FileManager::makeFileChangeSource`
/// received. It is called on any thread, also inside `takeChange()`. A call may still follow after the source was
/// destroyed. The handler must return soon, because no events of any file are read while it runs.
///
///     auto source = FileManager::default_().makeFileChangeSource(file, [wakeConsumer] { wakeConsumer(); });
///     while (auto change = source->takeChange()) std::cout << description(*change) << '\n';
class TESSALY_EXPORT FileChangeSource {
 public:
  virtual ~FileChangeSource();
  FileChangeSource(const FileChangeSource&) = delete;
  FileChangeSource& operator=(const FileChangeSource&) = delete;

  /// Returns one value for all changes since the last call that returned a change, or since the source was made.
  /// Nothing if there is no change. Throws `POSIXError`, for example `ENOSPC` when the system's limit of watches is
  /// reached. A missing or unreadable file is not an error.
  [[nodiscard]] virtual std::optional<FileChange> takeChange() = 0;
  /// Whether the caller must poll: call `takeChange()` regularly, even if the wake handler is not called. True if the
  /// system sends no events for this file. That happens on remote volumes, and if the file or a directory on its path
  /// cannot be read.
  [[nodiscard]] virtual bool needsPolling() const noexcept = 0;

 protected:
  FileChangeSource() noexcept = default;
};

}  // namespace Tessaly::inline v1
