// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string_view>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Power/PowerBackend.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class DisplayInhibition;
}

/// Keeps the display awake through the first of the desktop's screen saver, its session manager and the login manager
/// that owns its name and answers.
///
/// Every assertion has connections of its own, so that the services drop it when the process ends. When the service
/// that holds one goes away, or another takes its place, all are asked again.
///
/// Thread contract: thread-safe. An operation waits at most two seconds for each service.
///
///     BusPower power;
///     std::uint32_t identifier = 0;
///     power.createAssertion(PowerBackend::noDisplaySleep, PowerBackend::levelOn, "Playing", identifier);
class TESSALY_EXPORT BusPower final : public PowerBackend {
 public:
  BusPower();
  ~BusPower() override;

  std::int32_t createAssertion(std::string_view type, std::uint32_t level, std::string_view reason,
                               std::uint32_t& identifier) override;
  std::int32_t releaseAssertion(std::uint32_t identifier) override;
  [[nodiscard]] PowerStatus status() const override;

 private:
  mutable UnfairLock lock_;
  std::map<std::uint32_t, std::shared_ptr<detail::DisplayInhibition>> assertions_ TESSALY_GUARDED_BY(lock_);
  std::uint32_t lastIdentifier_ TESSALY_GUARDED_BY(lock_) = 0;
  std::shared_ptr<detail::DisplayInhibition> latest_ TESSALY_GUARDED_BY(lock_);
  /// Of the latest one, where that is not held any more.
  PowerStatus lastStatus_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1
