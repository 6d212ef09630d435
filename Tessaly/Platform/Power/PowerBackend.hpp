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

/// Who keeps a display awake.
enum class PowerService : std::uint8_t {
  none,
  /// `org.freedesktop.ScreenSaver` on the session bus.
  screenSaver,
  /// `org.gnome.SessionManager` on the session bus.
  sessionManager,
  /// `org.freedesktop.login1` on the system bus: its idle inhibitor.
  login,
};

/// Why a service does not keep the display awake.
enum class PowerProblem : std::uint8_t {
  none,
  /// Its bus cannot be reached.
  noBus,
  /// Nobody owns its name.
  noOwner,
  /// It did not answer within two seconds.
  notAnswering,
  /// It answered with an error.
  refused,
  /// It answered with something else than was agreed.
  wrongReply,
};

/// How the asking went for the assertion that was made, or lost its service, last.
///
///     if (PowerBackend::current().status().service == PowerService::none) showBanner("The display may go dark.");
struct PowerStatus {
  struct Attempt {
    PowerService service = PowerService::none;
    PowerProblem problem = PowerProblem::none;
    /// The service's own words, or what is wrong with its answer; may be empty.
    std::string message = {};
    friend bool operator==(const Attempt&, const Attempt&) = default;
  };

  /// Who keeps the display awake now.
  PowerService service = PowerService::none;
  /// Everyone who was asked, in order; the last one without a problem is `service`.
  std::vector<Attempt> attempts = {};

  friend bool operator==(const PowerStatus&, const PowerStatus&) = default;
};

/// The system's power management.
///
/// Hosts use `SleepHandler`.
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
  /// The level of an assertion that is on.
  static constexpr std::uint32_t levelOn = 255;

  PowerBackend() = default;
  PowerBackend(const PowerBackend&) = delete;
  PowerBackend& operator=(const PowerBackend&) = delete;
  virtual ~PowerBackend();

  /// Takes an assertion, which lasts until it is released or the process ends, and writes its identifier. 0, or a
  /// system error code, which leaves `identifier` as it is.
  virtual std::int32_t createAssertion(std::string_view type, std::uint32_t level, std::string_view reason,
                                       std::uint32_t& identifier) = 0;
  /// Gives an assertion back. 0, or a system error code: then it is still held.
  virtual std::int32_t releaseAssertion(std::uint32_t identifier) = 0;
  [[nodiscard]] virtual PowerStatus status() const = 0;

  /// The backend in use.
  [[nodiscard]] static PowerBackend& current();
  /// The system's backend, which is made at the first call and never destroyed.
  [[nodiscard]] static PowerBackend& system();
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<PowerBackend>& installed() noexcept;
};

}  // namespace Tessaly::inline v1
