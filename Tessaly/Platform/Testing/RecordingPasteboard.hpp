// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"

namespace Tessaly::inline v1 {

/// A pasteboard in memory that a test can inspect.
///
/// Thread contract: thread-compatible. The library asks it on the caller's thread only.
///
///     const auto pasteboard = std::make_shared<RecordingPasteboard>();
///     const PasteboardBackendInstallation installation(pasteboard);
///     copy();
///     assert(pasteboard->contents.at(PasteboardType::string) == "to paste");
class TESSALY_EXPORT RecordingPasteboard final : public PasteboardBackend {
 public:
  ~RecordingPasteboard() override;

  void clearContents() override;
  bool setString(std::string_view text, PasteboardType type) override;
  [[nodiscard]] PasteboardStatus status() const override;

  /// The result of `setString`. If it is false, `setString` stores nothing.
  bool accepts = true;
  std::map<PasteboardType, std::string> contents;
  /// The calls in order: "clear", or the text argument of `setString`.
  std::vector<std::string> calls;
};

}  // namespace Tessaly::inline v1
