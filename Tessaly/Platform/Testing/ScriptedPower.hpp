// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Power/PowerBackend.hpp"

namespace Tessaly::inline v1 {

/// A power backend that a test scripts and inspects.
///
/// `DisplayWakefulness` asks the backend on a background thread. A test of such code reads `snapshot()`, and waits for
/// it with `serveUntil`. `SleepHandler` asks on the caller's thread, so its tests may read the members themselves.
///
/// Thread contract: thread-safe functions. The members `held`, `creations` and `releases` are for tests whose
/// calls all come from one thread. Set the results before the first use.
///
///     const auto power = std::make_shared<ScriptedPower>();
///     const PowerBackendInstallation installation(power);
///     play();
///     assert(power->held.size() == 1);
class TESSALY_EXPORT ScriptedPower final : public PowerBackend {
 public:
  /// The arguments of a call of `createAssertion`.
  struct Creation {
    std::string type;
    std::uint32_t level = 0;
    std::string reason;
    friend bool operator==(const Creation&, const Creation&) = default;
  };

  /// The state at one instant.
  struct Snapshot {
    std::map<std::uint32_t, Creation> held;
    std::vector<Creation> creations;
    std::vector<std::uint32_t> releases;
  };

  ~ScriptedPower() override;
  /// A copy of `held`, `creations` and `releases`, also while other threads ask this backend.
  [[nodiscard]] Snapshot snapshot() const;

  std::int32_t createAssertion(std::string_view type, std::uint32_t level, std::string_view reason,
                               std::uint32_t& identifier) override;
  std::int32_t releaseAssertion(std::uint32_t identifier) override;
  [[nodiscard]] PowerStatus status() const override;

  /// The result of every later call of `createAssertion`. If it is not 0, such a call creates no assertion and is only
  /// recorded in `creations`.
  std::int32_t creationResult = 0;
  /// The result of every later call of `releaseAssertion`. If it is not 0, such a call releases nothing and is only
  /// recorded in `releases`. If it is 0, the release of an assertion that is not held still returns `ENOENT`.
  std::int32_t releaseResult = 0;
  /// The assertions that are held, by identifier.
  std::map<std::uint32_t, Creation> held;
  /// The arguments of every call of `createAssertion` in order, including failed calls.
  std::vector<Creation> creations;
  /// The identifiers of every call of `releaseAssertion` in order, including failed calls.
  std::vector<std::uint32_t> releases;

 private:
  mutable UnfairLock lock_;
  std::uint32_t lastIdentifier_ = 100;
};

}  // namespace Tessaly::inline v1
