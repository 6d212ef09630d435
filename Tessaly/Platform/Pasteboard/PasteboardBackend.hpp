// SPDX-License-Identifier: MIT
// Component: Tessaly::Pasteboard
#pragma once

#include <cstdint>
#include <string_view>

#include "Tessaly/Core/Base/BackendInstallation.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// What kind of item a text on the pasteboard is.
enum class PasteboardType : std::uint8_t {
  /// Plain text.
  string,
  /// The absolute text of a URL. Readers get it as a list of URLs, or as plain text.
  url,
};

/// Where the contents of the pasteboard are held.
enum class PasteboardServer : std::uint8_t { none, wayland, x11 };

/// Why nothing could be put on the pasteboard.
enum class PasteboardProblem : std::uint8_t {
  none,
  /// The session has no display that this process knows of.
  noDisplay,
  /// The display did not answer within two seconds.
  notAnswering,
  /// The display went away, and the contents with it.
  displayLost,
  /// The display refused.
  refused,
};

/// How the pasteboard is doing.
///
///     if (PasteboardBackend::current().status().problem == PasteboardProblem::noDisplay) showBanner("Cannot copy.");
struct PasteboardStatus {
  PasteboardServer server = PasteboardServer::none;
  PasteboardProblem problem = PasteboardProblem::none;
  /// Whether what was put there last is still there; false when another program has put something else.
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

  /// Begins new contents: what `setString` sets next replaces all that is there, in one step, so that no program which
  /// watches the pasteboard finds it empty in between and puts the former contents back.
  virtual void clearContents() = 0;
  /// Adds an item to the contents, or replaces that of the same type. False if it could not be put there.
  virtual bool setString(std::string_view text, PasteboardType type) = 0;
  [[nodiscard]] virtual PasteboardStatus status() const = 0;

  /// The backend in use.
  [[nodiscard]] static PasteboardBackend& current();
  /// The system's backend, which is made at the first call and never destroyed.
  [[nodiscard]] static PasteboardBackend& system();
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<PasteboardBackend>& installed() noexcept;
};

}  // namespace Tessaly::inline v1
