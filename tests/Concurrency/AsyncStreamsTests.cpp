// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

#include "Tessaly/Concurrency/AsyncStreams.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "tests/Core/Tasks/Scenarios.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::answersOf;
using Tests::holdsInEveryOrderOfSteps;
using Tests::holdsOnManyThreads;
using Tests::pause;
using Tests::Request;
using Tests::settle;
using Tests::Tasks;

// Counts its live objects.
struct Counted {
  explicit Counted(int number) : number(number) { ++living; }
  Counted(const Counted& other) : number(other.number) { ++living; }
  Counted& operator=(const Counted&) = default;
  ~Counted() { --living; }
  int number;
  static inline std::atomic<int> living{0};
};

TEST(AsyncStreams, EveryListenerReceivesEveryValueInOrder) {
  const auto broadcaster = AsyncStreams<int>::make();
  auto first = broadcaster->stream().makeAsyncIterator();
  auto second = broadcaster->stream().makeAsyncIterator();
  for (const int value : {1, 2, 3}) broadcaster->send(value);
  EXPECT_EQ(answersOf(first), "1 2 3 waiting");
  EXPECT_EQ(answersOf(second), "1 2 3 waiting");
}

TEST(AsyncStreams, ListenerReceivesOnlyLaterValues) {
  const auto broadcaster = AsyncStreams<int>::make();
  broadcaster->send(1);  // There is no listener yet.
  auto listener = broadcaster->stream().makeAsyncIterator();
  broadcaster->send(2);
  EXPECT_EQ(answersOf(listener), "2 waiting");
}

TEST(AsyncStreams, SendsSignalsWithoutAPayload) {
  const auto broadcaster = AsyncStreams<std::monostate>::make();
  const auto listener = broadcaster->stream();
  broadcaster->send();
  broadcaster->send(std::monostate());
  broadcaster->finish();
  int received = 0;
  syncWait([&]() -> Async<void> {
    auto iterator = listener.makeAsyncIterator();
    while (co_await iterator.next()) ++received;
  });
  EXPECT_EQ(received, 2);
}

TEST(AsyncStreams, ListenerOfACancelledTaskIsRemoved) {
  const auto broadcaster = AsyncStreams<Counted>::make();
  const auto stream = broadcaster->stream();
  auto task = Tests::start([stream]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    while (co_await iterator.next()) {
    }
  });
  settle();
  task.cancel();
  settle();
  EXPECT_TRUE(task.isFinished());
  broadcaster->send(Counted(1));
  EXPECT_EQ(Counted::living, 0);
}

TEST(AsyncStreams, DestroyedListenerIsRemoved) {
  const auto broadcaster = AsyncStreams<Counted>::make();
  {
    const auto first = broadcaster->stream();
    const auto second = broadcaster->stream();
    broadcaster->send(Counted(1));
    EXPECT_EQ(Counted::living, 2);
  }
  EXPECT_EQ(Counted::living, 0);
  broadcaster->send(Counted(2));
  EXPECT_EQ(Counted::living, 0);
}

TEST(AsyncStreams, FinishingEndsAndRemovesEveryListener) {
  const auto broadcaster = AsyncStreams<int>::make();
  auto first = broadcaster->stream().makeAsyncIterator();
  auto second = broadcaster->stream().makeAsyncIterator();
  broadcaster->send(1);
  broadcaster->finish();
  broadcaster->send(2);
  EXPECT_EQ(answersOf(first), "1 end");
  EXPECT_EQ(answersOf(second), "1 end");
  broadcaster->finish();
}

TEST(AsyncStreams, CanBeUsedAgainAfterFinishing) {
  const auto broadcaster = AsyncStreams<int>::make();
  auto before = broadcaster->stream().makeAsyncIterator();
  broadcaster->finish();
  auto after = broadcaster->stream().makeAsyncIterator();
  broadcaster->send(3);
  EXPECT_EQ(answersOf(before), "end");
  EXPECT_EQ(answersOf(after), "3 waiting");
}

TEST(AsyncStreams, DroppingTheBroadcasterEndsEveryListener) {
  auto broadcaster = AsyncStreams<int>::make();
  auto first = broadcaster->stream().makeAsyncIterator();
  auto second = broadcaster->stream().makeAsyncIterator();
  broadcaster->send(1);
  Request waiting(second);
  settle();
  broadcaster.reset();
  EXPECT_EQ(answersOf(first), "1 end");
  EXPECT_EQ(waiting.answer(), "1");
  EXPECT_EQ(answersOf(second), "end");
}

TEST(AsyncStreams, ListenerMayOutliveTheBroadcaster) {
  auto broadcaster = AsyncStreams<int>::make();
  std::optional<AsyncStream<int>> stream = broadcaster->stream();
  broadcaster.reset();
  stream.reset();
}

TEST(AsyncStreams, ListenerMayEndDuringASend) {
  struct Leaving {
    std::shared_ptr<std::optional<AsyncStream<Leaving>>> stream;
    Leaving() = default;
    explicit Leaving(std::shared_ptr<std::optional<AsyncStream<Leaving>>> stream) : stream(std::move(stream)) {}
    Leaving(const Leaving& other) : stream(other.stream) {
      if (stream) stream->reset();  // This runs while the broadcaster copies the value for its listeners.
    }
    Leaving(Leaving&&) = default;
  };
  const auto broadcaster = AsyncStreams<Leaving>::make();
  const auto stream = std::make_shared<std::optional<AsyncStream<Leaving>>>(broadcaster->stream());
  const auto other = broadcaster->stream();
  broadcaster->send(Leaving(stream));
  EXPECT_FALSE(stream->has_value());
  EXPECT_EQ(stream.use_count(), 2);  // One copy waits in the other's buffer.
}

// Calls a function whenever it is copied.
struct Copied {
  int number = 0;
  std::shared_ptr<std::function<void(int)>> onCopy;

  explicit Copied(int number) : number(number) {}
  Copied(const Copied& other) : number(other.number), onCopy(other.onCopy) {
    if (onCopy != nullptr) (*onCopy)(number);
  }
  Copied(Copied&&) noexcept = default;
};

std::vector<int> numbersOf(const AsyncStream<Copied>& stream, int count) {
  std::vector<int> numbers;
  syncWait([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    for (int i = 0; i < count; ++i) numbers.push_back((co_await iterator.next()).value().number);
  });
  return numbers;
}

TEST(AsyncStreams, SendDuringASendReachesEveryListener) {
  const auto broadcaster = AsyncStreams<Copied>::make();
  const auto other = AsyncStreams<Copied>::make();
  std::vector<AsyncStream<Copied>> listeners;
  for (int i = 0; i < 3; ++i) listeners.push_back(broadcaster->stream());
  const auto ofOther = other->stream();
  broadcaster->send(Copied(1));  // From here on this thread keeps the list.
  Copied second(2);
  second.onCopy = std::make_shared<std::function<void(int)>>([&](int) {
    other->send(Copied(10));
    broadcaster->send(Copied(3));
  });
  broadcaster->send(std::move(second));
  broadcaster->send(Copied(4));
  // Each copy of the 2 sends a 10 and a 3 first.
  EXPECT_EQ(numbersOf(listeners[0], 6), (std::vector{1, 3, 2, 3, 3, 4}));
  EXPECT_EQ(numbersOf(listeners[1], 6), (std::vector{1, 3, 3, 2, 3, 4}));
  EXPECT_EQ(numbersOf(listeners[2], 6), (std::vector{1, 3, 3, 3, 2, 4}));
  EXPECT_EQ(numbersOf(ofOther, 3), (std::vector{10, 10, 10}));
}

TEST(AsyncStreams, ListenerThatJoinsDuringASendMissesItsValue) {
  const auto broadcaster = AsyncStreams<Copied>::make();
  const auto first = broadcaster->stream();
  broadcaster->send(Copied(1));
  std::optional<AsyncStream<Copied>> joined;
  Copied second(2);
  second.onCopy = std::make_shared<std::function<void(int)>>([&](int) { joined = broadcaster->stream(); });
  broadcaster->send(std::move(second));
  broadcaster->send(Copied(3));
  ASSERT_TRUE(joined.has_value());
  EXPECT_EQ(numbersOf(first, 3), (std::vector{1, 2, 3}));
  EXPECT_EQ(numbersOf(*joined, 1), (std::vector{3}));
}

TEST(AsyncStreams, CopyThatThrowsFailsOnlyItsOwnSend) {
  const auto broadcaster = AsyncStreams<Copied>::make();
  const auto first = broadcaster->stream();
  const auto second = broadcaster->stream();
  broadcaster->send(Copied(1));
  Copied failing(2);
  failing.onCopy = std::make_shared<std::function<void(int)>>([copies = 0](int) mutable {
    if (++copies == 2) throw 7;
  });
  EXPECT_THROW(broadcaster->send(std::move(failing)), int);
  broadcaster->send(Copied(3));
  EXPECT_EQ(numbersOf(first, 3), (std::vector{1, 2, 3}));
  EXPECT_EQ(numbersOf(second, 2), (std::vector{1, 3}));
}

TEST(AsyncStreams, ThreadSendsToSeveralBroadcastersInTurn) {
  std::vector<std::shared_ptr<AsyncStreams<int>>> broadcasters;
  std::vector<AsyncStream<int>::AsyncIterator> listeners;
  for (int i = 0; i < 3; ++i) {
    broadcasters.push_back(AsyncStreams<int>::make());
    listeners.push_back(broadcasters.back()->stream().makeAsyncIterator());
  }
  for (int value = 0; value < 6; ++value) broadcasters[static_cast<std::size_t>(value % 3)]->send(value);
  EXPECT_EQ(answersOf(listeners[0]), "0 3 waiting");
  EXPECT_EQ(answersOf(listeners[1]), "1 4 waiting");
  EXPECT_EQ(answersOf(listeners[2]), "2 5 waiting");
}

// Few listeners, whose list a thread keeps, and many.
TEST(AsyncStreams, EachChangeOfTheListenersHoldsForTheNextSend) {
  for (const std::size_t count : {std::size_t{2}, detail::Listeners<int>::maximumKeptCount + 3}) {
    const auto broadcaster = AsyncStreams<int>::make();
    std::vector<std::optional<AsyncStream<int>>> streams(count);
    std::vector<std::string> expected(count);
    int value = 0;
    const auto send = [&] {
      broadcaster->send(++value);
      for (std::size_t i = 0; i < count; ++i) {
        if (streams[i]) expected[i] += std::to_string(value) + " ";
      }
    };
    for (auto& stream : streams) {
      stream = broadcaster->stream();
      send();
    }
    for (std::size_t i = 0; i < count; i += 2) {
      streams[i].reset();
      send();
    }
    for (std::size_t i = 1; i < count; i += 2) {
      auto iterator = streams[i]->makeAsyncIterator();
      EXPECT_EQ(answersOf(iterator), expected[i] + "waiting");
    }
  }
}

TEST(AsyncStreams, ThreadThatKeepsAListDelaysNoEndOfItsStreams) {
  const auto ended = std::make_shared<int>();
  auto broadcaster = AsyncStreams<std::shared_ptr<int>>::make();
  std::optional stream = broadcaster->stream();
  std::jthread([&] { broadcaster->send(ended); }).join();
  broadcaster->send(ended);
  EXPECT_EQ(ended.use_count(), 3);
  stream.reset();
  EXPECT_EQ(ended.use_count(), 1);
  broadcaster.reset();
}

TEST(AsyncStreams, ListenerEqualsItsIdentifier) {
  using Record = detail::IdentifiedContinuation<int, int>;
  const auto first = AsyncStream<int>::makeStream();
  const auto second = AsyncStream<int>::makeStream();
  const Record record{1, first.continuation};
  EXPECT_EQ(record, (Record{1, second.continuation}));
  EXPECT_FALSE(record == (Record{2, first.continuation}));
  EXPECT_EQ(std::hash<Record>()(record), std::hash<Record>()({1, second.continuation}));
  const std::unordered_set<Record> set{record};
  EXPECT_TRUE(set.contains({1, second.continuation}));
}

// Listeners join and leave while values are sent. Each receives consecutive values without a gap.
void joinAndLeave(Tasks& tasks) {
  struct Shared {
    std::shared_ptr<AsyncStreams<int>> broadcaster = AsyncStreams<int>::make();
  };
  const auto shared = std::make_shared<Shared>();
  tasks.add([shared, finishes = tasks.random(2)]() -> Async<void> {
    for (int i = 0; i < 8; ++i) {
      shared->broadcaster->send(i);
      co_await pause(1);
    }
    finishes == 0 ? shared->broadcaster->finish() : shared->broadcaster.reset();
  });
  for (int i = 0; i < 3; ++i) {
    std::optional<AsyncStream<int>> joined;
    if (i == 0) joined = shared->broadcaster->stream();
    tasks.add([joined, shared, broadcaster = std::weak_ptr(shared->broadcaster), delay = tasks.random(9),
               limit = tasks.random(10)]() -> Async<void> {
      co_await pause(delay);
      std::optional<AsyncStream<int>> stream = joined;
      if (!stream) {
        const auto held = broadcaster.lock();
        if (held == nullptr) co_return;
        stream = held->stream();
      }
      auto iterator = stream->makeAsyncIterator();
      stream.reset();
      std::optional<int> last;
      for (int received = 0; received < limit; ++received) {
        if (last == 7) break;
        const auto element = co_await iterator.next();
        if (!element) break;
        if (last) EXPECT_EQ(*element, *last + 1);
        last = element;
      }
    });
  }
  // A listener that joined after the finish waits for a value that never arrives.
  tasks.add([shared]() -> Async<void> {
    co_await pause(40);
    if (shared->broadcaster) shared->broadcaster->finish();
  });
  tasks.wait();
}

TEST(AsyncStreams, ListenersJoinAndLeaveInEveryOrderOfSteps) { holdsInEveryOrderOfSteps(joinAndLeave); }

TEST(AsyncStreams, TenThousandListenersJoinAndLeaveWhileValuesAreSent) {
  constexpr int listeners = 10'000;
  const auto broadcaster = AsyncStreams<Counted>::make();
  std::atomic<bool> isOver{false};
  std::jthread sender([&] {
    for (int i = 0; !isOver; ++i) {
      broadcaster->send(Counted(i));
      std::this_thread::yield();
    }
    broadcaster->finish();
  });
  syncWait([&]() -> Async<void> {
    std::vector<Task<>> tasks;
    for (int i = 0; i < listeners; ++i) {
      tasks.push_back(Task<>::detached([stream = broadcaster->stream(), i]() -> Async<void> {
        auto iterator = stream.makeAsyncIterator();
        int last = -1;
        for (int j = 0; j < i % 4; ++j) {
          const auto element = co_await iterator.next();
          if (!element) break;
          if (last >= 0) EXPECT_EQ(element->number, last + 1);
          last = element->number;
        }
      }));
      if (i % 5 == 0) tasks.back().cancel();
      if (tasks.size() == 50) {
        for (const auto& task : tasks) co_await task.finished();
        tasks.clear();
      }
    }
    for (const auto& task : tasks) co_await task.finished();
  });
  isOver = true;
  sender.join();
  EXPECT_EQ(Counted::living, 0);
}

}  // namespace
}  // namespace Tessaly
