// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <poll.h>
#include <systemd/sd-bus.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Linux/MeteredWatch.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"
#include "tests/Support/Impostor.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/WakeUps.hpp"

// NetworkManager's answers about the expense, on a bus of the test, from a stand-in that may also misbehave.

namespace {

using namespace Tessaly;
using namespace std::chrono_literals;
using Source = NWPath::ExpenseSource;
using State = MeteredWatch::State;

constexpr const char* service = "org.freedesktop.NetworkManager";
constexpr const char* object = "/org/freedesktop/NetworkManager";
constexpr const char* properties = "org.freedesktop.DBus.Properties";

/// Answers under NetworkManager's name, or stays silent.
class StandIn {
 public:
  enum class Manner : std::uint8_t { answers, isSilent, refuses, answersWithText, comesLate, hasNone };
  enum class Name : std::uint8_t { owned, notOwned };

  explicit StandIn(std::uint32_t metered, Manner manner = Manner::answers, Name name = Name::owned)
      : metered_(metered), manner_(manner) {
    EXPECT_GE(sd_bus_open_system(&bus_), 0);
    EXPECT_GE(sd_bus_add_object(bus_, nullptr, object, &StandIn::handle, this), 0);
    if (name == Name::owned) EXPECT_GE(sd_bus_request_name(bus_, service, 0), 0);
    thread_ = std::thread([this] { serve(); });
  }
  ~StandIn() {
    isDone_ = true;
    thread_.join();
    sd_bus_message_unref(kept_);
    sd_bus_flush_close_unref(bus_);
  }

  /// Announces a new value of the property.
  void change(std::uint32_t metered) {
    const std::lock_guard guard(mutex_);
    metered_ = metered;
    sd_bus_emit_signal(bus_, object, properties, "PropertiesChanged", "sa{sv}as", service, 2, "Connectivity", "u", 4,
                       "Metered", "u", metered, 0);
    sd_bus_flush(bus_);
  }
  void changeToText() {
    const std::lock_guard guard(mutex_);
    sd_bus_emit_signal(bus_, object, properties, "PropertiesChanged", "sa{sv}as", service, 1, "Metered", "s", "yes", 0);
    sd_bus_flush(bus_);
  }
  /// Announces a change of the property without its value.
  void invalidate(std::uint32_t metered) {
    const std::lock_guard guard(mutex_);
    metered_ = metered;
    sd_bus_emit_signal(bus_, object, properties, "PropertiesChanged", "sa{sv}as", service, 0, 1, "Metered");
    sd_bus_flush(bus_);
  }
  /// Answers the earlier question.
  void answerLate() {
    const std::lock_guard guard(mutex_);
    ASSERT_NE(kept_, nullptr);
    sd_bus_reply_method_return(kept_, "v", "u", metered_);
    sd_bus_flush(bus_);
  }

 private:
  static int handle(sd_bus_message* message, void* self, sd_bus_error*) {
    return static_cast<StandIn*>(self)->handle(message);
  }
  int handle(sd_bus_message* message) {
    if (sd_bus_message_is_method_call(message, properties, "Get") <= 0) return 0;
    const char* interface = nullptr;
    const char* name = nullptr;
    EXPECT_GT(sd_bus_message_read(message, "ss", &interface, &name), 0);
    EXPECT_EQ(interface, std::string_view(service));
    EXPECT_EQ(name, std::string_view("Metered"));
    switch (manner_) {
      case Manner::answers:
        return sd_bus_reply_method_return(message, "v", "u", metered_);
      case Manner::isSilent:
        sd_bus_message_unref(kept_);
        kept_ = sd_bus_message_ref(message);
        return 1;
      case Manner::refuses:
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_ACCESS_DENIED, "no");
      case Manner::comesLate:
        if (++questions_ > 3) return sd_bus_reply_method_return(message, "v", "u", metered_);
        [[fallthrough]];
      case Manner::hasNone:
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_UNKNOWN_METHOD, "no such interface");
      case Manner::answersWithText:
        return sd_bus_reply_method_return(message, "v", "s", "yes");
    }
    return 0;
  }
  void serve() {
    while (!isDone_) {
      {
        const std::lock_guard guard(mutex_);
        while (sd_bus_process(bus_, nullptr) > 0) {
        }
      }
      pollfd watched{.fd = sd_bus_get_fd(bus_), .events = POLLIN, .revents = 0};
      ::poll(&watched, 1, 10);
    }
  }

  sd_bus* bus_ = nullptr;
  std::mutex mutex_;
  std::uint32_t metered_;
  const Manner manner_;
  int questions_ = 0;
  sd_bus_message* kept_ = nullptr;
  std::atomic<bool> isDone_{false};
  std::thread thread_;
};

class Metered : public testing::Test {
 protected:
  void SetUp() override {
    if (!bus_.reason().empty()) GTEST_SKIP() << bus_.reason();
  }

  /// Records all states of a watch.
  class Follower {
   public:
    Follower()
        : watch_(MeteredWatch::make([seen = seen_] {
            const std::lock_guard guard(seen->mutex);
            if (const auto watch = seen->watch.lock()) seen->states.push_back(watch->state());
            seen->changed.notify_all();
          })) {
      {
        const std::lock_guard guard(seen_->mutex);
        seen_->watch = watch_;
      }
      watch_->connectIfNeeded();
    }

    bool becomes(State state) {
      std::unique_lock lock(seen_->mutex);
      return seen_->changed.wait_for(lock, 8s, [&] { return watch_->state() == state; });
    }
    bool becomes(bool isExpensive) {
      return becomes(State{.isExpensive = isExpensive, .source = Source::networkManager});
    }
    bool becomes(Source source) { return becomes(State{.isExpensive = false, .source = source}); }
    std::vector<State> states() {
      const std::lock_guard guard(seen_->mutex);
      return seen_->states;
    }
    MeteredWatch& watch() { return *watch_; }

   private:
    /// Outlives the follower, which may be receiving a notification.
    struct Seen {
      std::mutex mutex;
      std::condition_variable changed;
      std::vector<State> states;
      std::weak_ptr<MeteredWatch> watch;
    };

    const std::shared_ptr<Seen> seen_ = std::make_shared<Seen>();
    const std::shared_ptr<MeteredWatch> watch_;
  };

  Tests::PrivateBus bus_{"DBUS_SYSTEM_BUS_ADDRESS"};
};

TEST_F(Metered, WithoutABusNothingIsExpensive) {
  bus_.daemon().end();
  const auto watch = MeteredWatch::make([] { FAIL(); });
  watch->connectIfNeeded();
  EXPECT_EQ(watch->state(), (State{.isExpensive = false, .source = Source::noBus}));
}

TEST_F(Metered, SocketThatPosesAsABusIsRejected) {
  for (const std::string& lie : Tests::Impostor::lies()) {
    const Tests::Impostor impostor("DBUS_SYSTEM_BUS_ADDRESS", lie);
    ASSERT_TRUE(impostor.isThere());
    Follower follower;
    EXPECT_TRUE(follower.becomes(Source::noBus)) << testing::PrintToString(lie.substr(0, 200));
    EXPECT_GE(impostor.visitors(), 1);
  }
}

TEST_F(Metered, WithoutNetworkManagerNothingIsExpensive) {
  Follower follower;
  EXPECT_TRUE(follower.becomes(Source::notRunning));
}

TEST_F(Metered, YesAndGuessedYesAreExpensive) {
  for (const auto& [value, isExpensive] :
       {std::pair(0U, false), std::pair(1U, true), std::pair(2U, false), std::pair(3U, true), std::pair(4U, false),
        std::pair(5U, false), std::pair(0xFFFFFFFFU, false)}) {
    StandIn manager(value);
    Follower follower;
    EXPECT_TRUE(follower.becomes(isExpensive)) << value;
  }
}

TEST_F(Metered, ChangesAreFollowed) {
  StandIn manager(2);
  Follower follower;
  EXPECT_TRUE(follower.becomes(false));
  manager.change(1);
  EXPECT_TRUE(follower.becomes(true));
  manager.change(4);
  EXPECT_TRUE(follower.becomes(false));
}

TEST_F(Metered, AnnouncedChangeWithoutValueCausesAQuestion) {
  StandIn manager(2);
  Follower follower;
  EXPECT_TRUE(follower.becomes(false));
  manager.invalidate(3);
  EXPECT_TRUE(follower.becomes(true));
}

TEST_F(Metered, AnswersOfAnotherKindAreIgnored) {
  {
    StandIn manager(1, StandIn::Manner::answersWithText);
    Follower follower;
    EXPECT_TRUE(follower.becomes(Source::wrongAnswer));
    manager.change(1);
    EXPECT_TRUE(follower.becomes(true));
    manager.changeToText();
    EXPECT_TRUE(follower.becomes(Source::wrongAnswer));
  }
  StandIn manager(1, StandIn::Manner::refuses);
  Follower follower;
  EXPECT_TRUE(follower.becomes(Source::wrongAnswer));
}

TEST_F(Metered, LateAnswerCountsWithoutAWait) {
  StandIn manager(1, StandIn::Manner::isSilent);
  Follower follower;
  EXPECT_EQ(follower.watch().state().source, Source::asking);
  EXPECT_TRUE(follower.becomes(Source::noAnswer));
  manager.answerLate();
  EXPECT_TRUE(follower.becomes(true));
}

TEST_F(Metered, DaemonWithALateObjectIsAskedRepeatedly) {
  StandIn manager(1, StandIn::Manner::comesLate);
  Follower follower;
  EXPECT_TRUE(follower.becomes(true));
  for (const State& state : follower.states()) EXPECT_NE(state.source, Source::wrongAnswer);
}

TEST_F(Metered, MissingPropertyIsAcceptedInTheEnd) {
  StandIn manager(1, StandIn::Manner::hasNone);
  Follower follower;
  EXPECT_TRUE(follower.becomes(Source::wrongAnswer));
  manager.change(1);
  EXPECT_TRUE(follower.becomes(true));
}

TEST_F(Metered, DaemonThatRestartsIsFollowed) {
  Follower follower;
  EXPECT_TRUE(follower.becomes(Source::notRunning));
  for (int i = 0; i < 5; ++i) {
    StandIn manager(1);
    EXPECT_TRUE(follower.becomes(true));
    manager.change(2);
    EXPECT_TRUE(follower.becomes(false));
    manager.change(3);
    EXPECT_TRUE(follower.becomes(true));
  }
  EXPECT_TRUE(follower.becomes(Source::notRunning));
}

TEST_F(Metered, DaemonThatEndsWithoutAnswerIsNotAwaited) {
  Follower follower;
  EXPECT_TRUE(follower.becomes(Source::notRunning));
  {
    StandIn manager(1, StandIn::Manner::isSilent);
    EXPECT_TRUE(follower.becomes(Source::asking));
  }
  EXPECT_TRUE(follower.becomes(Source::notRunning));
}

TEST_F(Metered, RestartedBusIsFoundOnRequest) {
  Follower follower;
  {
    StandIn manager(1);
    EXPECT_TRUE(follower.becomes(true));
    bus_.daemon().end();
    EXPECT_TRUE(follower.becomes(Source::noBus));
  }
  follower.watch().connectIfNeeded();
  EXPECT_TRUE(follower.becomes(Source::noBus));
  bus_.start();
  ASSERT_EQ(bus_.reason(), "");
  StandIn manager(3);
  follower.watch().connectIfNeeded();
  EXPECT_TRUE(follower.becomes(true));
}

TEST_F(Metered, MessagesOfOtherSendersAreIgnored) {
  StandIn manager(1);
  StandIn stranger(2, StandIn::Manner::answers, StandIn::Name::notOwned);
  Follower follower;
  EXPECT_TRUE(follower.becomes(true));
  const std::size_t seen = follower.states().size();
  stranger.change(2);
  stranger.changeToText();
  for (int i = 0; i < 50; ++i) manager.change(i % 2 == 0 ? 3 : 1);
  manager.change(4);
  EXPECT_TRUE(follower.becomes(false));
  const std::vector<State> states = follower.states();
  for (std::size_t i = seen; i + 1 < states.size(); ++i) {
    EXPECT_EQ(states[i], (State{.isExpensive = true, .source = Source::networkManager})) << i;
  }
}

TEST_F(Metered, WatchesMayBeMadeAndDestroyedDuringChanges) {
  StandIn manager(1);
  std::atomic<bool> isDone{false};
  std::thread changer([&] {
    for (std::uint32_t i = 0; !isDone; ++i) manager.change(i % 5);
  });
  for (int i = 0; i < 100; ++i) {
    const auto watch = MeteredWatch::make([] {});
    watch->connectIfNeeded();
  }
  isDone = true;
  changer.join();
}

TEST_F(Metered, WatchSleepsWithoutChanges) {
  StandIn manager(1);
  Follower follower;
  EXPECT_TRUE(follower.becomes(true));
  // This is longer than any limit for an answer.
  EXPECT_TRUE(Tests::libraryStaysAsleep(2500ms));
  // The counter increases if a thread of the library wakes up.
  const std::int64_t before = Tests::sleepsOfLibrary();
  manager.change(2);
  EXPECT_TRUE(follower.becomes(false));
  while (Tests::sleepsOfLibrary() == before) std::this_thread::yield();
}

TEST_F(Metered, ServiceFollowsTheExpense) {
  const UserDefaultsInstallation installation(InMemoryUserDefaults::make());
  StandIn manager(1);
  const AsyncStream<ReachabilityService::Status> statuses = ReachabilityService::statuses();
  const auto until = [&](bool isExpensive) {
    syncWait([&]() -> Async<void> {
      auto iterator = statuses.makeAsyncIterator();
      while ((co_await iterator.next())->isExpensive != isExpensive) {
      }
    });
    return ReachabilityService::isExpensive() == isExpensive;
  };
  EXPECT_TRUE(until(true));
  EXPECT_EQ(NWPathMonitor::make()->currentPath().expenseSource(), Source::networkManager);
  manager.change(2);
  EXPECT_TRUE(until(false));
  manager.change(3);
  EXPECT_TRUE(until(true));
}

}  // namespace
