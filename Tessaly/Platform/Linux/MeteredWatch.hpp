// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"
#include "Tessaly/Platform/Network/NWPath.hpp"

struct sd_bus;
struct sd_bus_message;
struct sd_bus_slot;

namespace Tessaly::inline v1 {

/// Watches whether the network connection is expensive. The source is NetworkManager's property `Metered` on the system
/// bus, or in a sandbox the status of the desktop's portal on the session bus.
///
/// The watch starts no service except the portal, and waits for no service. Answers arrive through the reactor at any
/// time. The watch notices when the service starts, ends or restarts. After the connection to the bus has ended, only
/// another call of `connectIfNeeded` connects again.
///
/// Thread contract: thread-safe.
///
///     auto metered = MeteredWatch::make([] { redraw(); });
///     metered->connectIfNeeded();
class TESSALY_EXPORT MeteredWatch final : public std::enable_shared_from_this<MeteredWatch> {
  struct Private {};

 public:
  /// The service that knows whether the connection is expensive.
  enum class Service : bool { networkManager, portal };

  /// Whether the connection is expensive, and the source of this information.
  struct State {
    bool isExpensive = false;
    NWPath::ExpenseSource source = NWPath::ExpenseSource::noBus;
    /// Whether the portal considers the network available. Absent if the portal has not reported this.
    std::optional<bool> isAvailable = std::nullopt;

    friend constexpr bool operator==(const State&, const State&) noexcept = default;
  };

  /// Makes a watch. The watch calls the function on any thread whenever the state may have changed. `connectIfNeeded`
  /// calls the function before it returns if it has made a connection.
  [[nodiscard]] static std::shared_ptr<MeteredWatch> make(std::function<void()> onChange,
                                                          Service service = Service::networkManager);
  MeteredWatch(Private, std::function<void()> onChange, Service service);
  ~MeteredWatch();
  MeteredWatch(const MeteredWatch&) = delete;
  MeteredWatch& operator=(const MeteredWatch&) = delete;

  [[nodiscard]] State state() const noexcept { return state_.load(std::memory_order_acquire); }
  /// Connects to the bus and requests the state from the service, unless the watch is already connected. Does not
  /// block.
  void connectIfNeeded();

 private:
  static int didAnswer(sd_bus_message* message, void* self, void* error);
  static int didChange(sd_bus_message* message, void* self, void* error);
  static int didChangeOwner(sd_bus_message* message, void* self, void* error);

  bool connect() TESSALY_REQUIRES(lock_);
  void process();
  void ask(sd_bus* bus);
  /// Sends the request for the state.
  void send(sd_bus* bus);
  void sendAgain(std::uint64_t question);
  void giveUp(std::uint64_t question);
  void set(State state);

  const std::function<void()> onChange_;
  const Service service_;
  std::atomic<State> state_{State()};
  UnfairLock lock_;
  sd_bus* bus_ TESSALY_GUARDED_BY(lock_) = nullptr;
  std::shared_ptr<detail::DescriptorSource> source_ TESSALY_GUARDED_BY(lock_);
  // The members below have no annotations, because the bus's callbacks use them. The callbacks run under the lock, but
  // the thread-safety analysis cannot see that.
  sd_bus_slot* call_ = nullptr;
  std::uint64_t question_ = 0;
  int attempts_ = 0;
  bool isAnswered_ = true;
};

}  // namespace Tessaly::inline v1
