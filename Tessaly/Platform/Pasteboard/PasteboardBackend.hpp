// SPDX-License-Identifier: MIT
// Component: Tessaly::Pasteboard
#pragma once

#include <cstdint>
#include <string_view>

#include "Tessaly/Core/Base/BackendInstallation.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The kind of an item on the pasteboard.
enum class PasteboardType : std::uint8_t {
  /// Plain text.
  string,
  /// The absolute text of a URL. Other programs read the URL as a list of URLs or as plain text.
  url,
};

/// The display server that holds the contents of the pasteboard.
enum class PasteboardServer : std::uint8_t { none, wayland, x11 };

/// The reason why nothing could be put on the pasteboard.
enum class PasteboardProblem : std::uint8_t {
  none,
  /// The environment names no display, or this process cannot connect to the display.
  noDisplay,
  /// The display did not answer within 2 s.
  notAnswering,
  /// The connection to the display ended, so the contents are lost.
  displayLost,
  /// The display did not make this process the owner of the pasteboard.
  refused,
};

/// The state of the pasteboard.
///
///     if (PasteboardBackend::current().status().problem == PasteboardProblem::noDisplay) showBanner("Cannot copy.");
struct PasteboardStatus {
  PasteboardServer server = PasteboardServer::none;
  PasteboardProblem problem = PasteboardProblem::none;
  /// Whether the pasteboard still has the last contents of this process. False after another program has replaced them.
  bool isOwner = false;

  friend bool operator==(const PasteboardStatus&, const PasteboardStatus&) = default;
};

/// The general pasteboard, which other programs paste from.
///
/// Hosts use `PasteboardService`.
///
/// Thread contract: thread-safe.
///
///     PasteboardBackend& pasteboard = PasteboardBackend::current();
///     pasteboard.clearContents();
///     pasteboard.setString("to paste", PasteboardType::string);
class TESSALY_EXPORT PasteboardBackend {
 public:
  PasteboardBackend() = default;
  PasteboardBackend(const PasteboardBackend&) = delete;
  PasteboardBackend& operator=(const PasteboardBackend&) = delete;
  virtual ~PasteboardBackend();

  /// Begins new contents. The next `setString` replaces all old contents in one step. So the pasteboard is not empty
  /// between the two calls, and a program that refills an empty pasteboard does not restore the old contents.
  virtual void clearContents() = 0;
  /// Adds an item to the contents, or replaces the item of the same type. Returns false on failure.
  virtual bool setString(std::string_view text, PasteboardType type) = 0;
  [[nodiscard]] virtual PasteboardStatus status() const = 0;

  /// The backend in use.
  [[nodiscard]] static PasteboardBackend& current();
  /// The system's backend, which is made at the first call and never destroyed.
  [[nodiscard]] static PasteboardBackend& system();
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<PasteboardBackend>& installed() noexcept;
};

/// Replaces `PasteboardBackend::current()` for a scope.
using PasteboardBackendInstallation = BackendInstallation<PasteboardBackend>;

}  // namespace Tessaly::inline v1
