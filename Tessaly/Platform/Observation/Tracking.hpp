// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "Tessaly/Platform/Base/Export.hpp"
#include "Tessaly/Platform/Observation/AccessList.hpp"
#include "Tessaly/Platform/Observation/ObservationPoint.hpp"
#include "Tessaly/Platform/Tasks/Notification.hpp"

namespace Tessaly::inline v1::detail {

/// A handler that waits for the first change of any of several points: registered in each of them, called once.
///
/// Reference-counted: each registration that is in a list is worth a reference, and so is whoever installs or keeps it.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT Tracking {
 public:
  /// When the handler is called.
  enum class Moment : std::uint8_t { beforeTheChange, afterTheChange };

  Tracking(const Tracking&) = delete;
  Tracking& operator=(const Tracking&) = delete;

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  /// Takes the points over from an ended list and registers in each. If one was changed by another thread since it was
  /// read, the handler is called at once; if a change of it is under way, after that. Called once.
  void install(AccessList& accesses, Moment moment);
  /// Calls the handler, unless that was done or the tracking was cancelled.
  void fire() noexcept {
    if (claim()) finish(Finish::calling);
  }
  /// Ends the tracking without a call. A call on another thread may be under way.
  void cancel() noexcept {
    if (claim()) finish(Finish::silently);
  }
  [[nodiscard]] bool isFired() const noexcept { return isFired_.load(std::memory_order_acquire); }

 protected:
  enum class Finish : std::uint8_t { calling, silently };

  Tracking() = default;
  virtual ~Tracking();
  /// Calls the handler if told so, and destroys it.
  virtual void finishHandler(Finish finish) noexcept = 0;

 private:
  [[nodiscard]] bool claim() noexcept { return !isFired_.exchange(true, std::memory_order_acq_rel); }
  void finish(Finish finish) noexcept;
  bool installOne(Registration& registration, std::uint64_t version, Moment moment) noexcept;
  [[nodiscard]] Registration* registrations() noexcept { return many_ != nullptr ? many_.get() : &one_; }

  std::atomic<std::uint32_t> references_{1};
  std::atomic<bool> isFired_{false};
  std::uint32_t count_ = 0;
  Registration one_;
  std::unique_ptr<Registration[]> many_;
};

template <typename Handler>
class HandlerTracking final : public Tracking {
 public:
  explicit HandlerTracking(Handler handler) : handler_(std::move(handler)) {}

 private:
  ~HandlerTracking() override = default;
  void finishHandler(Finish finish) noexcept override {
    if (finish == Finish::calling) callNotification("The change handler of an observation", *handler_);
    handler_.reset();
  }

  std::optional<Handler> handler_;
};

}  // namespace Tessaly::inline v1::detail
