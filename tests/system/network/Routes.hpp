// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "tests/system/network/Namespace.hpp"

namespace Tessaly::Tests {

/// Paths over real links, in a network namespace of the test. "left" and "right" are two ends of a cable, and the
/// default route leads through "left".
class Routes : public testing::Test {
 protected:
  void SetUp() override {
    if (!reasonForNoNamespace().empty()) GTEST_SKIP() << reasonForNoNamespace();
    if (!canIp("link add name left type veth peer name right")) GTEST_SKIP() << "the kernel has no veth links";
    // There is no bus, so only the routes decide.
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  }

  static void plugIn() {
    ip("address add 10.1.0.1/24 dev left\n"
       "link set left up\n"
       "link set right up\n"
       "route add default via 10.1.0.2 dev left");
  }

  /// A monitor that counts its updates, and waits for them.
  class Follower {
   public:
    Follower() : monitor_(NWPathMonitor::make()) {
      monitor_->setPathUpdateHandler([seen = seen_](const NWPath& path) {
        const std::lock_guard guard(seen->mutex);
        seen->paths.push_back(path);
        seen->changed.notify_all();
      });
      monitor_->start(OS_dispatch_queue::global());
    }
    ~Follower() { monitor_->cancel(); }

    /// Waits until the last update has this status.
    bool becomes(NWPath::Status status) {
      std::unique_lock lock(seen_->mutex);
      return seen_->changed.wait_for(lock, std::chrono::seconds(8),
                                     [&] { return !seen_->paths.empty() && seen_->paths.back().status() == status; });
    }
    [[nodiscard]] std::vector<NWPath> paths() {
      const std::lock_guard guard(seen_->mutex);
      return seen_->paths;
    }
    [[nodiscard]] NWPath::Status now() const { return monitor_->currentPath().status(); }

   private:
    /// Outlives the follower, which may be receiving a notification.
    struct Seen {
      std::mutex mutex;
      std::condition_variable changed;
      std::vector<NWPath> paths;
    };

    const std::shared_ptr<Seen> seen_ = std::make_shared<Seen>();
    const std::shared_ptr<NWPathMonitor> monitor_;
  };

  static std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  }

  /// Waits for descriptors that are open only for a moment, as during the search for a bus.
  static bool openDescriptorsBecome(std::ptrdiff_t count) {
    for (const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(8); openDescriptors() != count;) {
      if (std::chrono::steady_clock::now() > limit) return false;
      std::this_thread::yield();
    }
    return true;
  }

  /// The state that a new monitor has at once.
  static NWPath::Status statusAtOnce() { return NWPathMonitor::make()->currentPath().status(); }
};

}  // namespace Tessaly::Tests
