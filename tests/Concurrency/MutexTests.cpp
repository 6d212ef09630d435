// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "Tessaly/Concurrency/Mutex.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/SystemCalls.hpp"
#include "tests/Support/Threads.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::KilledBySignal;
using testing::MatchesRegex;

constexpr auto lockedAgain =
    "Tessaly/UnfairLock:[0-9]+: Fatal error: A lock was locked again by the thread that holds it\n";
constexpr auto usedAfterMove =
    "Tessaly/OSAllocatedUnfairLock:[0-9]+: Fatal error: A lock was used after it had been moved from\n";

// A counting reference, like a value that owns a resource.
class Reference {
 public:
  explicit Reference(int& count) : count_(&count) { ++*count_; }
  Reference(const Reference& other) : count_(other.count_) { ++*count_; }
  Reference(Reference&& other) noexcept : count_(std::exchange(other.count_, nullptr)) {}
  Reference& operator=(Reference other) {
    std::swap(count_, other.count_);
    return *this;
  }
  ~Reference() {
    if (count_ != nullptr) --*count_;
  }

 private:
  int* count_;
};

// Logs its events while it has a name.
class Witness {
 public:
  Witness(std::string name, std::vector<std::string>& events) : name_(std::move(name)), events_(&events) {}
  Witness(const Witness& other) : name_(other.name_), events_(other.events_) { note("copied"); }
  Witness(Witness&& other) noexcept : name_(std::exchange(other.name_, "")), events_(other.events_) { note("moved"); }
  Witness& operator=(const Witness&) = delete;
  ~Witness() { note("destroyed"); }

 private:
  void note(const char* what) {
    if (!name_.empty()) events_->push_back(name_ + " " + what);
  }

  std::string name_;
  std::vector<std::string>* events_;
};

struct Immovable {
  explicit Immovable(int number) : number(number) {}
  Immovable(const Immovable&) = delete;
  Immovable& operator=(const Immovable&) = delete;
  int number;
};

struct ThrowingMove {
  ThrowingMove() = default;
  ThrowingMove(ThrowingMove&& other) : isLast(false) {
    if (other.isLast) throw std::string("unmoved");
  }
  bool isLast = true;
};

// Prevents the compiler from removing the object and its allocations.
void keep(const auto& object) { asm volatile("" : : "r"(&object) : "memory"); }

// A body on another thread that sleeps on the lock when the constructor returns.
template <typename Value, typename Body>
std::jthread startWaiter(Mutex<Value>& mutex, Body body) {
  std::atomic<pid_t> identifier{0};
  std::jthread thread([&mutex, &identifier, body] {
    identifier.store(::gettid());
    mutex.withLock(body);
  });
  while (identifier.load() == 0) std::this_thread::yield();
  Tests::waitUntilAsleep(identifier.load());
  return thread;
}

TEST(Mutex, IsMovedButNeverCopied) {
  static_assert(!std::is_copy_constructible_v<Mutex<int>>);
  static_assert(!std::is_copy_assignable_v<Mutex<int>>);
  static_assert(std::is_nothrow_move_constructible_v<Mutex<int>>);
  static_assert(std::is_nothrow_move_assignable_v<Mutex<int>>);
  static_assert(sizeof(Mutex<std::array<int, 100>>) == 2 * sizeof(void*));
  static_assert(!std::is_convertible_v<int, Mutex<int>>);
}

TEST(Mutex, MovesItsInitialValueIntoItsSlot) {
  std::vector<std::string> events;
  {
    Mutex<Witness> mutex(Witness("first", events));
    EXPECT_THAT(events, ElementsAre("first moved"));
  }
  EXPECT_THAT(events, ElementsAre("first moved"));
  EXPECT_EQ(Tests::allocationsOf([] {
              const Mutex<int> mutex(1);
              keep(mutex);
            }),
            2);  // The allocations are the slot and the lock.
}

TEST(Mutex, StoresAnOverAlignedValueAtItsAlignment) {
  struct alignas(128) Line {
    int number = 5;
  };
  Mutex<Line> mutex(Line{});
  EXPECT_TRUE(mutex.withLock([](Line& line) { return reinterpret_cast<std::uintptr_t>(&line) % 128 == 0; }));
}

TEST(Mutex, WithLockGivesMutableAccessToTheStoredValue) {
  Mutex<std::set<std::string>> mutex({});
  mutex.withLock([](auto& set) { set.insert("window"); });
  mutex.withLock([](auto& set) { set.insert("panel"); });
  EXPECT_THAT(mutex.withLock([](auto& set) { return set; }), ElementsAre("panel", "window"));
  mutex.assignWithLock({});  // The destructor does not destroy the value.
}

TEST(Mutex, WithLockAcceptsAnyCallable) {
  struct Counter {
    int next() { return ++number; }
    int number = 0;
  };
  struct Once {
    int operator()(Counter& counter) && { return counter.next(); }
  };
  Mutex<Counter> mutex(Counter{});
  EXPECT_EQ(mutex.withLock(&Counter::next), 1);
  EXPECT_EQ(mutex.withLock(Once()), 2);
  EXPECT_EQ(mutex.withLock([token = std::make_unique<int>(40)](Counter& counter) { return counter.next() + *token; }),
            43);
  EXPECT_EQ(mutex.withLock([](const Counter& counter) { return counter.number; }), 3);
}

TEST(Mutex, PassesMoveOnlyValuesAndResults) {
  Mutex<std::unique_ptr<int>> mutex(std::make_unique<int>(7));
  std::unique_ptr<int> result = mutex.withLock([](auto& value) { return std::exchange(value, nullptr); });
  EXPECT_EQ(*result, 7);
  EXPECT_TRUE(mutex.withLock([](auto& value) { return value == nullptr; }));
  mutex.assignWithLock(std::make_unique<int>(8));
  EXPECT_EQ(mutex.withLock([](auto& value) { return *value; }), 8);
  mutex.assignWithLock(nullptr);
}

TEST(Mutex, ReturnsImmovableResults) {
  Mutex<int> mutex(7);
  const Immovable result = mutex.withLock([](int value) { return Immovable(value); });
  EXPECT_EQ(result.number, 7);
}

TEST(Mutex, NeverCopiesTheResult) {
  std::vector<std::string> events;
  Mutex<int> mutex(0);
  {
    const Witness result = mutex.withLock([&](int&) { return Witness("result", events); });
    EXPECT_TRUE(events.empty());
  }
  EXPECT_THAT(events, ElementsAre("result destroyed"));
}

TEST(Mutex, PassesTheErrorOfABodyOnUnchanged) {
  struct Refusal {
    explicit Refusal(std::vector<std::string>& events) : witness("refusal", events) {}
    Witness witness;
  };
  std::vector<std::string> events;
  Mutex<int> mutex(0);
  const void* thrown = nullptr;
  try {
    mutex.withLock([&](int&) {
      try {
        throw Refusal(events);
      } catch (Refusal& refusal) {
        thrown = &refusal;
        throw;
      }
    });
    FAIL() << "the error was kept back";
  } catch (Refusal& refusal) {
    EXPECT_EQ(&refusal, thrown);
  }
  EXPECT_THAT(events, ElementsAre("refusal destroyed"));
  EXPECT_THROW(mutex.withLock([](int&) { throw 5; }), int);
}

TEST(Mutex, IsFreeAgainAfterABodyFailed) {
  Mutex<int> mutex(1);
  EXPECT_THROW(mutex.withLock([](int& value) {
    value = 2;
    throw std::string("failed");
  }),
               std::string);
  EXPECT_EQ(mutex.withLock([](int value) { return value; }), 2);
  std::jthread([&] { mutex.assignWithLock(3); }).join();
  EXPECT_EQ(mutex.withLock([](int value) { return value; }), 3);
}

TEST(Mutex, IsFreeAgainBeforeTheErrorIsCaught) {
  Mutex<int> mutex(1);
  try {
    mutex.withLock([](int&) { throw std::string("failed"); });
  } catch (const std::string&) {
    EXPECT_EQ(mutex.withLock([](int value) { return value; }), 1);
  }
}

TEST(Mutex, AssignWithLockDestroysTheOldValueFirst) {
  std::vector<std::string> events;
  Mutex<Witness> mutex(Witness("old", events));
  Witness next("new", events);
  events.clear();
  mutex.assignWithLock(std::move(next));
  EXPECT_THAT(events, ElementsAre("new moved", "old destroyed",
                                  "new moved"));  // The new value is first moved into the argument.
}

TEST(Mutex, AssignWithLockKeepsTheSlot) {
  Mutex<std::string> mutex("old");
  const auto addressOf = [](std::string& value) { return &value; };
  const void* before = mutex.withLock(addressOf);
  mutex.assignWithLock("new");
  EXPECT_EQ(mutex.withLock(addressOf), before);
  mutex.assignWithLock("");
}

TEST(Mutex, AssignWithLockHoldsTheLockThroughout) {
  struct Slow {
    explicit Slow(int number, std::move_only_function<void()> atEnd = nullptr)
        : number(number), atEnd(std::move(atEnd)) {}
    Slow(Slow&& other) noexcept : number(other.number), atEnd(std::exchange(other.atEnd, nullptr)) {}
    ~Slow() {
      if (atEnd) atEnd();
    }
    int number;
    std::move_only_function<void()> atEnd;
  };
  for (int round = 0; round < Tests::repetitions(50); ++round) {
    std::atomic<int> seen{0};
    std::optional<std::jthread> reader;
    Mutex<Slow>* address = nullptr;
    Mutex<Slow> mutex(Slow(1, [&] {
      reader = startWaiter(*address, [&](Slow& value) { seen.store(value.number); });
      EXPECT_EQ(seen.load(), 0);
    }));
    address = &mutex;
    mutex.assignWithLock(Slow(2));
    reader.reset();
    EXPECT_EQ(seen.load(), 2);
  }
}

TEST(Mutex, AssignWithLockAcceptsPossiblyThrowingMoves) {
  struct Unpromising {
    explicit Unpromising(int number) : number(number) {}
    Unpromising(Unpromising&& other) noexcept(false) : number(other.number) {}
    int number;
  };
  Mutex<Unpromising> mutex(Unpromising(1));
  mutex.assignWithLock(Unpromising(2));
  EXPECT_EQ(mutex.withLock([](Unpromising& value) { return value.number; }), 2);
}

TEST(Mutex, AssignWithLockOfAThrowingMoveStopsTheProcess) {
  ThrowingMove initial;
  initial.isLast = false;
  Mutex<ThrowingMove> mutex(std::move(initial));
  EXPECT_EXIT(mutex.assignWithLock(ThrowingMove()), KilledBySignal(SIGABRT),
              MatchesRegex("Tessaly/Mutex:[0-9]+: Fatal error: A value threw when it was moved into a mutex whose old "
                           "value had gone\n"));
}

TEST(Mutex, ThrowingInitialValueFreesTheMutex) {
  const long before = Tests::allocationsOfThisThread() - Tests::deallocationsOfThisThread();
  try {
    const Mutex<ThrowingMove> mutex{ThrowingMove()};
    FAIL() << "the throw was kept back";
  } catch (const std::string& text) {
    EXPECT_EQ(text, "unmoved");
  }
  EXPECT_EQ(Tests::allocationsOfThisThread() - Tests::deallocationsOfThisThread(), before);
}

TEST(Mutex, MovedKeepsItsValueInItsPlace) {
  Mutex<int> first(5);
  const void* before = first.withLock([](int& value) -> const void* { return &value; });
  Mutex<int> second = std::move(first);
  EXPECT_EQ(second.withLock([](int& value) -> const void* { return &value; }), before);
  Mutex<int> third(0);
  third = std::move(second);
  EXPECT_EQ(third.withLock([](int& value) -> const void* { return &value; }), before);
  EXPECT_EQ(third.withLock([](int value) { return value; }), 5);
}

TEST(Mutex, MovedKeepsItsLock) {
  EXPECT_EXIT(
      {
        Mutex<int> first(5);
        first.withLock([&](int&) {
          Mutex<int> second = std::move(first);
          second.withLock([](int&) {});
        });
      },
      KilledBySignal(SIGABRT), MatchesRegex(lockedAgain));
}

TEST(Mutex, MoveAssignedToItselfStaysAsItIs) {
  Mutex<int> mutex(5);
  auto& self = mutex;
  mutex = std::move(self);
  EXPECT_EQ(mutex.withLock([](int value) { return value; }), 5);
}

TEST(Mutex, DestructionKeepsAReferenceCountUnchanged) {
  int count = 0;
  {
    const Mutex<Reference> mutex{Reference(count)};
  }
  EXPECT_EQ(count, 1);
}

TEST(Mutex, MoveAssignmentKeepsAReferenceCountUnchanged) {
  int kept = 0;
  int moved = 0;
  Mutex<Reference> mutex{Reference(kept)};
  mutex = Mutex<Reference>(Reference(moved));
  EXPECT_EQ(kept, 1);
  EXPECT_EQ(moved, 1);
}

TEST(Mutex, AssigningAnEmptyValueReleasesTheOldOne) {
  int count = 0;
  {
    Mutex<std::optional<Reference>> mutex(Reference{count});
    mutex.assignWithLock(std::nullopt);
    EXPECT_EQ(count, 0);
  }
  EXPECT_EQ(count, 0);
}

TEST(Mutex, DestroyedFreesBothItsCells) {
  const long before = Tests::deallocationsOfThisThread();
  {
    const Mutex<int> mutex(1);
    keep(mutex);
  }
  EXPECT_EQ(Tests::deallocationsOfThisThread() - before, 2);
}

TEST(Mutex, LockedAgainInsideABodyStopsTheProcess) {
  Mutex<int> mutex(0);
  EXPECT_EXIT(mutex.withLock([&](int&) { mutex.withLock([](int&) {}); }), KilledBySignal(SIGABRT),
              MatchesRegex(lockedAgain));
  EXPECT_EXIT(mutex.withLock([&](int&) { mutex.assignWithLock(1); }), KilledBySignal(SIGABRT),
              MatchesRegex(lockedAgain));
}

TEST(Mutex, LockedAgainByTheOldValuesDestructorStopsTheProcess) {
  struct Meddler {
    Meddler() = default;
    Meddler(Meddler&& other) noexcept : mutex(std::exchange(other.mutex, nullptr)) {}
    ~Meddler() {
      if (mutex != nullptr) mutex->withLock([](Meddler&) {});
    }
    Mutex<Meddler>* mutex = nullptr;
  };
  EXPECT_EXIT(
      {
        Mutex<Meddler> mutex{Meddler()};
        mutex.withLock([&](Meddler& value) { value.mutex = &mutex; });
        mutex.assignWithLock(Meddler());
      },
      KilledBySignal(SIGABRT), MatchesRegex(lockedAgain));
}

TEST(Mutex, MutexesMayNest) {
  Mutex<int> first(1);
  Mutex<int> second(2);
  EXPECT_EQ(first.withLock([&](int a) { return second.withLock([a](int b) { return 10 * a + b; }); }), 12);
}

TEST(Mutex, UsedAfterAMoveStopsTheProcess) {
  Mutex<int> mutex(0);
  const Mutex<int> owner = std::move(mutex);
  EXPECT_EXIT(mutex.withLock([](int&) {}), KilledBySignal(SIGABRT), MatchesRegex(usedAfterMove));
  EXPECT_EXIT(mutex.assignWithLock(1), KilledBySignal(SIGABRT), MatchesRegex(usedAfterMove));
}

TEST(Mutex, WorksAgainAfterAMoveIntoIt) {
  Mutex<int> mutex(0);
  Mutex<int> owner = std::move(mutex);
  mutex = std::move(owner);
  mutex.assignWithLock(4);
  EXPECT_EQ(mutex.withLock([](int value) { return value; }), 4);
}

TEST(Mutex, LetsOneThreadInAtATime) {
  struct Pair {
    long first = 0;
    long second = 0;
  };
  constexpr int threadCount = 4;
  const int rounds = Tests::repetitions(10'000);
  Mutex<Pair> mutex(Pair{});
  std::atomic<int> violations{0};
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back([&, i] {
        for (int round = 0; round < rounds; ++round) {
          mutex.withLock([&](Pair& pair) {
            if (pair.first != pair.second) violations.fetch_add(1);
            ++pair.first;
            ++pair.second;
          });
          if (i == 0) {
            const Pair now = mutex.withLock([](Pair& pair) { return pair; });
            mutex.withLock([&](Pair& pair) {
              if (pair.first < now.first) violations.fetch_add(1);
            });
          }
        }
      });
    }
  }
  EXPECT_EQ(violations.load(), 0);
  EXPECT_EQ(mutex.withLock([](Pair& pair) { return pair.second; }), static_cast<long>(threadCount) * rounds);
}

TEST(Mutex, AssignedByManyThreadsDestroysEveryValueButTheLast) {
  const int rounds = Tests::repetitions(2'000);
  constexpr int threadCount = 4;
  std::atomic<long> alive{0};
  class Alive {
   public:
    explicit Alive(std::atomic<long>& count) : count_(&count) { count_->fetch_add(1); }
    Alive(Alive&& other) noexcept : count_(std::exchange(other.count_, nullptr)) {}
    ~Alive() {
      if (count_ != nullptr) count_->fetch_sub(1);
    }

   private:
    std::atomic<long>* count_;
  };
  Mutex<Alive> mutex{Alive(alive)};
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back([&] {
        for (int round = 0; round < rounds; ++round) mutex.assignWithLock(Alive(alive));
      });
    }
  }
  EXPECT_EQ(alive.load(), 1);
}

TEST(Mutex, MakesThreadsWaitWhileABodyRuns) {
  for (int round = 0; round < Tests::repetitions(50); ++round) {
    Mutex<int> mutex(1);
    std::atomic<int> seen{0};
    std::optional<std::jthread> waiter;
    mutex.withLock([&](int& value) {
      waiter = startWaiter(mutex, [&](int& value) { seen.store(value); });
      EXPECT_EQ(seen.load(), 0);
      value = 2;
    });
    waiter.reset();
    EXPECT_EQ(seen.load(), 2);
  }
}

TEST(Mutex, AllocatesNothingAfterItsConstruction) {
  Mutex<std::array<char, 1000>> mutex({});
  EXPECT_EQ(Tests::allocationsOf([&] {
              for (int i = 0; i < 100; ++i) {
                mutex.withLock([](auto& value) { value[0] = 'a'; });
                mutex.assignWithLock({});
              }
            }),
            0);
}

#if !__has_feature(thread_sanitizer)  // Its runtime makes system calls of its own.
TEST(Mutex, MakesNoSystemCallWhenItIsFree) {
  Mutex<int> mutex(0);
  EXPECT_EQ(Tests::systemCallsOf([&] {
              for (int i = 0; i < 1000; ++i) {
                mutex.withLock([](int& value) { ++value; });
                mutex.assignWithLock(0);
              }
            }),
            Tests::SystemCalls::none);
}
#endif

TEST(Mutex, KilledForkedChildDoesNotAffectTheParent) {
  Mutex<int> mutex(1);
  const pid_t child = ::fork();
  if (child == 0) {
    mutex.withLock([](int& value) {
      value = 2;
      ::raise(SIGKILL);
    });
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(mutex.withLock([](int value) { return value; }), 1);
}

}  // namespace
}  // namespace Tessaly
