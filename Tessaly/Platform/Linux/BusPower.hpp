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

/// A power backend that keeps the display awake through a service. The backend asks the desktop's screen saver, the
/// desktop's session manager and the login manager, in this order. In a sandbox, the backend asks the portal before
/// these services. The backend uses the first service that grants the request.
///
/// An assertion is one request to keep the display awake. Every assertion has its own connections. The end of the
/// process closes these connections, and the services then end the assertion. If the service that holds an assertion
/// ends or is replaced, all services are asked again.
///
/// Thread contract: thread-safe. An operation may call each service several times, and waits at most 2 s for each call.
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
  /// The status of the latest assertion if that assertion was released or was never granted.
  PowerStatus lastStatus_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1
