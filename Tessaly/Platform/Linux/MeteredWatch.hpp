// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"
#include "Tessaly/Platform/Network/NWPath.hpp"

struct sd_bus;
struct sd_bus_message;
struct sd_bus_slot;

namespace Tessaly::inline v1 {

/// Follows what NetworkManager says of the expense of the connection: its property `Metered`, over the system bus.
///
/// Nobody is started for it, and nobody is waited for: answers come when they come, through the reactor. A daemon that
/// comes, goes or restarts is followed. A bus that goes away is not looked for by a timer, but when `connectIfNeeded`
/// is called again.
///
/// Thread contract: thread-safe.
///
///     auto metered = MeteredWatch::make([] { redraw(); });
///     metered->connectIfNeeded();
class TESSALY_EXPORT MeteredWatch final : public std::enable_shared_from_this<MeteredWatch> {
  struct Private {};

 public:
  struct State {
    bool isExpensive = false;
    NWPath::ExpenseSource source = NWPath::ExpenseSource::noBus;

    friend constexpr bool operator==(const State&, const State&) noexcept = default;
  };

  /// Calls the function, on any thread but the reactor's, whenever the state may be another.
  [[nodiscard]] static std::shared_ptr<MeteredWatch> make(std::function<void()> onChange);
  MeteredWatch(Private, std::function<void()> onChange);
  ~MeteredWatch();
  MeteredWatch(const MeteredWatch&) = delete;
  MeteredWatch& operator=(const MeteredWatch&) = delete;

  [[nodiscard]] State state() const noexcept { return state_.load(std::memory_order_acquire); }
  /// Connects to the bus and asks, unless that was done. Blocks for nobody.
  void connectIfNeeded();

 private:
  static int didAnswer(sd_bus_message* message, void* self, void* error);
  static int didChangeProperties(sd_bus_message* message, void* self, void* error);
  static int didChangeOwner(sd_bus_message* message, void* self, void* error);

  bool connect() TESSALY_REQUIRES(lock_);
  void process();
  void ask(sd_bus* bus);
  /// Sends the question.
  void send(sd_bus* bus);
  void sendAgain(std::uint64_t question);
  void giveUp(std::uint64_t question);
  void take(std::uint32_t metered);
  void set(State state);

  const std::function<void()> onChange_;
  std::atomic<State> state_{State()};
  UnfairLock lock_;
  sd_bus* bus_ TESSALY_GUARDED_BY(lock_) = nullptr;
  std::shared_ptr<detail::DescriptorSource> source_ TESSALY_GUARDED_BY(lock_);
  // What follows is only touched by the bus's callbacks, which run under the lock.
  sd_bus_slot* call_ = nullptr;
  std::uint64_t question_ = 0;
  int attempts_ = 0;
  bool isAnswered_ = true;
};

}  // namespace Tessaly::inline v1
