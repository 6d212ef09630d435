// SPDX-License-Identifier: MIT
#pragma once

#include <sys/eventfd.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <future>
#include <memory>
#include <utility>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

namespace Tessaly::inline v1::detail {

/// A selection whose connection belongs to one thread. Other threads pass their offers to that thread.
///
/// Thread contract: thread-safe.
class SelectionThread : public DisplaySelection, public std::enable_shared_from_this<SelectionThread> {
 public:
  /// Starts the thread, which connects to the display. Waits at most 2 s, because a display may accept a connection and
  /// then never answer.
  PasteboardProblem start(const char* name) {
    std::promise<PasteboardProblem> connected;
    std::future<PasteboardProblem> result = connected.get_future();
    startLibraryThread(name, [self = shared_from_this(), connected = std::move(connected)]() mutable {
      self->run(std::move(connected));
      self->giveUp();
    });
    if (result.wait_for(longestWait) == std::future_status::ready) return result.get();
    isLost_ = true;
    return PasteboardProblem::notAnswering;
  }

  PasteboardProblem offer(const PasteboardContents& contents) override {
    const auto offer = std::make_shared<Offer>();
    offer->contents = contents;
    std::future<PasteboardProblem> result = offer->result.get_future();
    {
      const UnfairLock::Guard guard(lock_);
      if (isLost_) return PasteboardProblem::displayLost;
      offers_.push_back(offer);
    }
    ::eventfd_write(wake_.get(), 1);
    if (result.wait_for(longestWait) == std::future_status::ready) return result.get();
    offer->isAbandoned = true;
    return PasteboardProblem::notAnswering;
  }
  [[nodiscard]] bool isOwner() const override { return isOwner_; }
  [[nodiscard]] bool isLost() const override { return isLost_; }
  void waitWhileServing() const override { isServing_.wait(true); }

 protected:
  struct Offer {
    PasteboardContents contents;
    std::promise<PasteboardProblem> result;
    std::atomic<bool> isAbandoned{false};
  };

  SelectionThread() : wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

  /// The thread's function. An override must connect to the display and set `connected` to the result. It must then
  /// answer the offers from `nextOffer()`, and must return when the connection ends or `isLost()` is true.
  virtual void run(std::promise<PasteboardProblem> connected) = 0;

  /// Removes the next offer from the queue and returns it, or returns null if the queue is empty. Discards abandoned
  /// offers.
  std::shared_ptr<Offer> nextOffer() {
    const UnfairLock::Guard guard(lock_);
    while (!offers_.empty()) {
      std::shared_ptr<Offer> offer = std::move(offers_.front());
      offers_.pop_front();
      if (!offer->isAbandoned) return offer;
    }
    return nullptr;
  }

  /// The descriptor that becomes readable when there may be an offer. It stays readable until `noteWoken()` is called.
  [[nodiscard]] int wakeDescriptor() const noexcept { return wake_.get(); }
  void noteWoken() const noexcept {
    eventfd_t ignored = 0;
    ::eventfd_read(wake_.get(), &ignored);
  }
  void setOwner(bool isOwner) noexcept {
    isOwner_ = isOwner;
    if (isOwner) isServing_ = true;
  }
  [[nodiscard]] bool isServing() const noexcept { return isServing_; }
  /// Makes `isServing()` false if this process is not the owner and no program is pasting. The loop in `run` must call
  /// this function. `areThere` must say whether a program is pasting.
  void noteTransfers(bool areThere) noexcept {
    if (!isOwner_ && !areThere && isServing_.exchange(false)) isServing_.notify_all();
  }

 private:
  static constexpr auto longestWait = std::chrono::seconds(2);

  void giveUp() {
    isOwner_ = false;
    noteTransfers(false);
    std::deque<std::shared_ptr<Offer>> offers;
    {
      const UnfairLock::Guard guard(lock_);
      isLost_ = true;
      offers = std::move(offers_);
    }
    for (const auto& offer : offers) offer->result.set_value(PasteboardProblem::displayLost);
  }

  const OwnedDescriptor wake_;
  std::atomic<bool> isOwner_{false};
  std::atomic<bool> isServing_{false};
  std::atomic<bool> isLost_{false};
  UnfairLock lock_;
  std::deque<std::shared_ptr<Offer>> offers_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
