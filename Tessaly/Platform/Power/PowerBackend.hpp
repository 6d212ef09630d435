// SPDX-License-Identifier: MIT
// Component: Tessaly::Power
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/BackendInstallation.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The service that keeps a display awake.
enum class PowerService : std::uint8_t {
  none,
  /// `org.freedesktop.ScreenSaver` on the session bus.
  screenSaver,
  /// `org.gnome.SessionManager` on the session bus.
  sessionManager,
  /// The idle inhibitor of `org.freedesktop.login1` on the system bus.
  login,
  /// `org.freedesktop.portal.Inhibit` on the session bus, in a sandbox.
  portal,
};

/// The reason why a service does not keep the display awake.
enum class PowerProblem : std::uint8_t {
  none,
  /// The process cannot connect to the service's bus.
  noBus,
  /// No program owns the service's name.
  noOwner,
  /// The service or its bus did not answer within 2 s.
  notAnswering,
  /// The service answered with an error.
  refused,
  /// The service's answer was malformed.
  wrongReply,
};

/// An assertion keeps the display awake. This is how the services answered the requests for the latest assertion, which
/// may be one that no service granted. The backend makes requests when it creates the assertion, and again after the
/// assertion has lost its service.
///
///     if (PowerBackend::current().status().service == PowerService::none) showBanner("The display may go dark.");
struct PowerStatus {
  /// The outcome of the request to one service.
  struct Attempt {
    PowerService service = PowerService::none;
    PowerProblem problem = PowerProblem::none;
    /// The service's message, or a description of its malformed answer. May be empty.
    std::string message = {};
    friend bool operator==(const Attempt&, const Attempt&) = default;
  };

  /// The service that holds the latest assertion now. `none` if no service holds it, for example after its release.
  PowerService service = PowerService::none;
  /// The requests in order. If a service granted a request, that request is the last one. After the assertion has lost
  /// its service, the requests that follow replace the former ones.
  std::vector<Attempt> attempts = {};

  friend bool operator==(const PowerStatus&, const PowerStatus&) = default;
};

/// The system's power management.
///
/// Applications use `SleepHandler` instead of this class.
///
/// Thread contract: thread-safe.
///
///     std::uint32_t identifier = 0;
///     PowerBackend& power = PowerBackend::current();
///     if (power.createAssertion(PowerBackend::noDisplaySleep, PowerBackend::levelOn, "Playing", identifier) == 0) {
///       play();
///       power.releaseAssertion(identifier);
///     }
class TESSALY_EXPORT PowerBackend {
 public:
  /// The type of an assertion that keeps the display awake.
  static constexpr std::string_view noDisplaySleep = "NoDisplaySleepAssertion";
  /// The level of an assertion that is on. The system's backend supports no other level.
  static constexpr std::uint32_t levelOn = 255;

  PowerBackend() = default;
  PowerBackend(const PowerBackend&) = delete;
  PowerBackend& operator=(const PowerBackend&) = delete;
  virtual ~PowerBackend();

  /// Creates an assertion, which keeps the display awake, and sets `identifier` to the assertion's number. The
  /// assertion lasts until it is released or the process ends. Returns 0, or an `errno` value. After an error
  /// `identifier` is unchanged. The system's backend returns `ENOTSUP` unless `type` is `noDisplaySleep` and `level` is
  /// `levelOn`.
  virtual std::int32_t createAssertion(std::string_view type, std::uint32_t level, std::string_view reason,
                                       std::uint32_t& identifier) = 0;
  /// Releases an assertion. Returns 0, or an `errno` value. After an error the assertion is still held, if it was held
  /// before.
  virtual std::int32_t releaseAssertion(std::uint32_t identifier) = 0;
  [[nodiscard]] virtual PowerStatus status() const = 0;

  /// The backend in use.
  [[nodiscard]] static PowerBackend& current();
  /// The system's backend, which is made at the first call and never destroyed.
  [[nodiscard]] static PowerBackend& system();
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<PowerBackend>& installed() noexcept;
};

/// Replaces `PowerBackend::current()` for a scope.
using PowerBackendInstallation = BackendInstallation<PowerBackend>;

}  // namespace Tessaly::inline v1
