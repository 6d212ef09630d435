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
  /// The text of a whole URL, as `URL::absoluteString()` returns it. Other programs can paste it as a list of URLs. If
  /// there is no item of the type `string`, they can also paste it as plain text.
  url,
};

/// The kind of display server through which this process offers its contents to other programs.
enum class PasteboardServer : std::uint8_t { none, wayland, x11 };

/// The reason why contents could not be put on the pasteboard, or were lost.
enum class PasteboardProblem : std::uint8_t {
  none,
  /// The environment names no display, or this process cannot connect to the display. A Wayland compositor that allows
  /// the pasteboard only to programs with a window also causes this problem, unless an X11 display is available.
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
  /// Whether the contents of the pasteboard are those that this process offered most recently. False after another
  /// program has replaced them.
  bool isOwner = false;

  friend bool operator==(const PasteboardStatus&, const PasteboardStatus&) = default;
};

/// The general pasteboard, which other programs paste from.
///
/// Applications use `PasteboardService` instead of this class.
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

  /// Begins new contents. **Other programs can paste the old contents until the next `setString`**, which replaces them
  /// in one step. So the pasteboard is intentionally not empty between the two calls. A clipboard manager would restore
  /// the old contents of an empty pasteboard.
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
