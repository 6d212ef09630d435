// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"

namespace Tessaly::inline v1 {

/// A pasteboard in memory that a test can inspect.
///
/// The library asks it on the caller's thread. A test of code that copies on another thread reads `snapshot()`.
///
/// Thread contract: thread-safe functions. The members `contents` and `calls` are for tests whose calls all come from
/// one thread. Set `accepts` before the first use.
///
///     const auto pasteboard = std::make_shared<RecordingPasteboard>();
///     const PasteboardBackendInstallation installation(pasteboard);
///     copy();
///     assert(pasteboard->contents.at(PasteboardType::string) == "to paste");
class TESSALY_EXPORT RecordingPasteboard final : public PasteboardBackend {
 public:
  /// The state at one instant.
  struct Snapshot {
    std::map<PasteboardType, std::string> contents;
    std::vector<std::string> calls;
  };

  ~RecordingPasteboard() override;
  /// A copy of `contents` and `calls`, also while other threads use this backend.
  [[nodiscard]] Snapshot snapshot() const;

  void clearContents() override;
  bool setString(std::string_view text, PasteboardType type) override;
  [[nodiscard]] PasteboardStatus status() const override;

  /// The result of `setString`. If it is false, `setString` stores nothing.
  bool accepts = true;
  std::map<PasteboardType, std::string> contents;
  /// The calls in order: "clear", or the text argument of `setString`.
  std::vector<std::string> calls;

 private:
  mutable UnfairLock lock_;
};

}  // namespace Tessaly::inline v1
