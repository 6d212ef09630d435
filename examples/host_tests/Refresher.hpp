// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"

// The part of an application that its tests are about.

constexpr Tessaly::Default<int>::Key minutesKey{"refresh-minutes", 15};

/// Refreshes a list after each interval of the settings, unless the network is absent or expensive.
class Refresher {
 public:
  explicit Refresher(Tessaly::Clock& clock) : clock_(clock) {
    tasks_.add([this] { return run(); });
  }

  [[nodiscard]] int refreshes() const { return refreshes_; }

 private:
  Tessaly::Async<void> run() {
    for (;;) {
      co_await Tessaly::Task<>::sleep(std::chrono::minutes(Tessaly::Default<int>::value(minutesKey)), clock_);
      if (!Tessaly::ReachabilityService::isOnline() || Tessaly::ReachabilityService::isExpensive()) {
        logger_.notice("No refresh: the network is absent or expensive");
        continue;
      }
      ++refreshes_;
    }
  }

  Tessaly::Clock& clock_;
  Tessaly::Logger logger_{"org.example.reader", "Refresher"};
  int refreshes_ = 0;
  Tessaly::OwnedTasks tasks_;  // The last member, so it ends first.
};
