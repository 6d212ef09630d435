// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Observation/detail/ComputedObserver.hpp"
#include "Tessaly/Core/Observation/detail/PointObserver.hpp"
#include "Tessaly/Core/Tasks/detail/FramePool.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::KilledBySignal;
using Tests::repetitions;

// The documentation names these sizes.
static_assert(sizeof(void*) != 8 || (sizeof(detail::ObservationPoint) == 40 && sizeof(detail::Tracking) == 72));
static_assert(sizeof(void*) != 8 || (sizeof(detail::PointObserver) == 48 && sizeof(detail::ComputedObserver) == 80 &&
                                     sizeof(detail::ObserverList) == 72));

/// An observable number. Any thread may read and write the value, so that the test concerns only the announcements.
class Cell {
 public:
  explicit Cell(int value = 0) : value_(value) {}
  int value() const {
    registrar_.access(*this, keyPath<&Cell::value>);
    return value_.load();
  }
  void setValue(int value) {
    registrar_.withMutation(*this, keyPath<&Cell::value>, [&] { value_.store(value); });
  }
  /// The body runs after the announcement and before the store.
  template <typename Body>
  void setValueAfter(int value, Body body) {
    registrar_.withMutation(*this, keyPath<&Cell::value>, [&] {
      body();
      value_.store(value);
    });
  }

 private:
  std::atomic<int> value_;
  ObservationRegistrar registrar_;
};

template <typename Body>
void onAnotherThread(Body body) {
  std::thread(body).join();
}

TEST(ObservationTracking, GivesTheResultOfTheFunction) {
  Cell cell(5);
  EXPECT_EQ(withObservationTracking([&] { return cell.value() + 1; }, [] {}), 6);
  EXPECT_EQ(*withObservationTracking([&] { return std::make_unique<int>(cell.value()); }, [] {}), 5);
  EXPECT_EQ(&withObservationTracking([&]() -> Cell& { return cell; }, [] {}), &cell);
}

TEST(ObservationTracking, CallsTheHandlerOnceForSeveralChanges) {
  int changes = 0;
  Cell cell;
  withObservationTracking([&] { return cell.value(); }, [&] { ++changes; });
  cell.setValue(1);
  cell.setValue(2);
  EXPECT_EQ(changes, 1);
}

TEST(ObservationTracking, CallsTheHandlerOnceForChangesOfSeveralProperties) {
  int changes = 0;
  Cell first;
  Cell second;
  withObservationTracking([&] { return first.value() + second.value() + first.value(); }, [&] { ++changes; });
  second.setValue(1);
  first.setValue(1);
  EXPECT_EQ(changes, 1);
}

TEST(ObservationTracking, HandlerSeesTheOldValueOnTheChangingThread) {
  std::thread::id thread;
  int seen = 0;
  Cell cell(1);
  withObservationTracking([&] { return cell.value(); },
                          [&] {
                            thread = std::this_thread::get_id();
                            seen = cell.value();
                          });
  std::thread::id changing;
  onAnotherThread([&] {
    changing = std::this_thread::get_id();
    cell.setValue(2);
  });
  EXPECT_EQ(thread, changing);
  EXPECT_EQ(seen, 1);
}

TEST(ObservationTracking, CountsAnEqualValueAsAChange) {
  int changes = 0;
  Cell cell(1);
  withObservationTracking([&] { return cell.value(); }, [&] { ++changes; });
  cell.setValue(1);
  EXPECT_EQ(changes, 1);
}

TEST(ObservationTracking, DestroysTheHandlerIfNothingIsRead) {
  auto witness = std::make_shared<int>();
  EXPECT_EQ(withObservationTracking([] { return 1; }, [witness] {}), 1);
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(ObservationTracking, DestroysTheHandlerAfterItsCall) {
  Cell first;
  Cell second;
  auto witness = std::make_shared<int>();
  withObservationTracking([&] { return first.value() + second.value(); }, [witness] {});
  EXPECT_EQ(witness.use_count(), 2);
  first.setValue(1);
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(ObservationTracking, RecordsOnlyReadsOfTheFunction) {
  int changes = 0;
  Cell early;
  Cell late;
  const auto later = withObservationTracking(
      [&] { return std::function<int()>([&late, x = early.value()] { return x + late.value(); }); },
      [&] { ++changes; });
  later();
  late.setValue(1);
  EXPECT_EQ(changes, 0);
  early.setValue(1);
  EXPECT_EQ(changes, 1);
}

TEST(ObservationTracking, IgnoresReadsOfOtherThreads) {
  int changes = 0;
  Cell cell;
  Cell other;
  withObservationTracking(
      [&] {
        onAnotherThread([&] { static_cast<void>(other.value()); });
        return cell.value();
      },
      [&] { ++changes; });
  other.setValue(1);
  EXPECT_EQ(changes, 0);
}

TEST(ObservationTracking, OuterTrackingIncludesInnerReads) {
  std::vector<std::string> calls;
  Cell cell;
  Cell ofTheOuterOne;
  withObservationTracking(
      [&] {
        withObservationTracking([&] { return cell.value(); }, [&] { calls.emplace_back("inner"); });
        return ofTheOuterOne.value();
      },
      [&] { calls.emplace_back("outer"); });
  cell.setValue(1);
  EXPECT_THAT(calls, testing::UnorderedElementsAre("inner", "outer"));
  ofTheOuterOne.setValue(1);
  EXPECT_EQ(calls.size(), 2U);
}

TEST(ObservationTracking, ThrowingFunctionTracksNothing) {
  int changes = 0;
  Cell cell;
  EXPECT_THROW(withObservationTracking(
                   [&]() -> int {
                     static_cast<void>(cell.value());
                     throw std::runtime_error("no");
                   },
                   [&] { ++changes; }),
               std::runtime_error);
  cell.setValue(1);
  EXPECT_EQ(changes, 0);
}

TEST(ObservationTracking, ReadsOfAThrowingInnerFunctionCountForTheOuter) {
  int changes = 0;
  Cell cell;
  withObservationTracking(
      [&] {
        try {
          withObservationTracking([&] { throw cell.value(); }, [] {});
        } catch (int) {
        }
      },
      [&] { ++changes; });
  cell.setValue(1);
  EXPECT_EQ(changes, 1);
}

TEST(ObservationTracking, FollowsManyRepeatedReads) {
  std::vector<std::unique_ptr<Cell>> cells;
  for (int i = 0; i < 1000; ++i) cells.push_back(std::make_unique<Cell>());
  for (const int changed : {0, 7, 8, 15, 16, 17, 500, 999}) {
    int changes = 0;
    withObservationTracking(
        [&] {
          int sum = 0;
          for (int round = 0; round < 3; ++round) {
            for (const auto& cell : cells) sum += cell->value();
          }
          return sum;
        },
        [&] { ++changes; });
    cells[static_cast<std::size_t>(changed)]->setValue(1);
    cells[3]->setValue(1);
    EXPECT_EQ(changes, 1);
  }
}

TEST(ObservationTracking, TrackingAgainInTheHandlerCallsItAfterTheChange) {
  std::vector<int> seen;
  std::function<void()> track;
  Cell cell(1);
  track = [&] { withObservationTracking([&] { seen.push_back(cell.value()); }, [&] { track(); }); };
  track();
  cell.setValue(2);
  EXPECT_THAT(seen, ElementsAre(1, 1, 2));
  cell.setValue(3);
  EXPECT_THAT(seen, ElementsAre(1, 1, 2, 2, 3));
}

TEST(ObservationTracking, HandlersOwnChangeDoesNotCallItAgain) {
  int changes = 0;
  Cell cell;
  withObservationTracking([&] { return cell.value(); },
                          [&] {
                            ++changes;
                            cell.setValue(7);
                          });
  cell.setValue(1);
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(cell.value(), 1);
}

TEST(ObservationTracking, FunctionsOwnChangeDoesNotCallTheHandler) {
  int changes = 0;
  Cell cell;
  const auto track = [&] {
    withObservationTracking(
        [&] {
          const int old = cell.value();
          cell.setValue(old + 1);
        },
        [&] { ++changes; });
  };
  track();
  EXPECT_EQ(changes, 0);
  cell.setValue(1);
  EXPECT_EQ(changes, 1);
}

TEST(ObservationTracking, ReadsOfACalledHandlerAreNotTracked) {
  int changes = 0;
  Cell cell;
  Cell readByTheHandler;
  withObservationTracking([&] { return cell.value(); }, [&] { static_cast<void>(readByTheHandler.value()); });
  withObservationTracking([&] { cell.setValue(1); }, [&] { ++changes; });
  readByTheHandler.setValue(1);
  EXPECT_EQ(changes, 0);
}

TEST(ObservationTracking, CountsTheEndOfAnObjectAsOneChange) {
  int changes = 0;
  auto cell = std::make_unique<Cell>();
  Cell other;
  withObservationTracking([&] { return cell->value() + other.value(); }, [&] { ++changes; });
  cell.reset();
  EXPECT_EQ(changes, 1);
  other.setValue(1);
  EXPECT_EQ(changes, 1);
}

TEST(ObservationTracking, HandlerMayReadTheEndingObject) {
  std::vector<int> seen;
  auto cell = std::make_unique<Cell>(1);
  std::function<void()> track = [&] {
    withObservationTracking([&] { seen.push_back(cell->value()); }, [&] { track(); });
  };
  track();
  // The object can still be reached, as in the destructor of a member.
  std::destroy_at(cell.get());
  EXPECT_THAT(seen, ElementsAre(1, 1));
  std::construct_at(cell.get(), 1);
}

TEST(ObservationTracking, IgnoresTemporaryObjectsOfTheFunction) {
  int changes = 0;
  Cell other;
  withObservationTracking([&] { return Cell(3).value() + other.value(); }, [&] { ++changes; });
  EXPECT_EQ(changes, 0);
  other.setValue(1);
  EXPECT_EQ(changes, 1);
}

TEST(ObservationTracking, ObjectEndedDuringTheFunctionCallsTheHandler) {
  int changes = 0;
  auto cell = std::make_unique<Cell>();
  withObservationTracking(
      [&] {
        const int value = cell->value();
        onAnotherThread([&] { cell.reset(); });
        return value;
      },
      [&] { ++changes; });
  EXPECT_EQ(changes, 1);
}

// The first of the two races: a change between the read and the registration.
TEST(ObservationTracking, ChangeDuringTheFunctionCallsTheHandler) {
  int changes = 0;
  Cell cell(1);
  const int read = withObservationTracking(
      [&] {
        const int value = cell.value();
        onAnotherThread([&] { cell.setValue(2); });
        return value;
      },
      [&] { ++changes; });
  EXPECT_EQ(read, 1);
  EXPECT_EQ(changes, 1);
  cell.setValue(3);
  EXPECT_EQ(changes, 1);
}

TEST(ObservationTracking, ChangeDuringAnInnerFunctionCallsTheOuterHandler) {
  int inner = 0;
  int outer = 0;
  Cell cell(1);
  withObservationTracking(
      [&] {
        withObservationTracking([&] { return cell.value(); }, [&] { ++inner; });
        onAnotherThread([&] { cell.setValue(2); });
      },
      [&] { ++outer; });
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(outer, 1);
}

TEST(ObservationTracking, OwnLaterChangeDoesNotHideAnotherThreadsChange) {
  int changes = 0;
  Cell cell(1);
  withObservationTracking(
      [&] {
        static_cast<void>(cell.value());
        onAnotherThread([&] { cell.setValue(2); });
        cell.setValue(3);
      },
      [&] { ++changes; });
  EXPECT_EQ(changes, 1);
}

// The second race: a read on another thread before the new value is stored.
TEST(ObservationTracking, ReadDuringAChangeCallsTheHandler) {
  std::vector<int> seen;
  std::function<void()> track;
  Cell cell(1);
  track = [&] { withObservationTracking([&] { seen.push_back(cell.value()); }, [&] { track(); }); };
  cell.setValueAfter(2, [&] { onAnotherThread(track); });
  EXPECT_THAT(seen, ElementsAre(1, 2));
}

TEST(ObservationTracking, HandlerWaitsForAChangeBegunDuringTheFunction) {
  Cell cell(1);
  std::atomic<bool> hasBegun = false;
  std::atomic<bool> mayStore = false;
  std::atomic<int> seen = 0;
  std::optional<std::thread> writer;
  withObservationTracking(
      [&] {
        static_cast<void>(cell.value());
        writer.emplace([&] {
          cell.setValueAfter(2, [&] {
            hasBegun = true;
            hasBegun.notify_one();
            mayStore.wait(false);
          });
        });
        hasBegun.wait(false);
      },
      [&] { seen = cell.value(); });
  EXPECT_EQ(seen, 0);
  mayStore = true;
  mayStore.notify_one();
  writer->join();
  EXPECT_EQ(seen, 2);
}

TEST(ObservationTracking, OverlappingChangesAreAllDelivered) {
  std::vector<int> seen;
  std::function<void()> track;
  Cell cell(1);
  track = [&] { withObservationTracking([&] { seen.push_back(cell.value()); }, [&] { track(); }); };
  cell.setValueAfter(4, [&] { onAnotherThread([&] { cell.setValueAfter(3, track); }); });
  EXPECT_THAT(seen, ElementsAre(1, 3, 4));
}

// A follower that tracks a value repeatedly finally reads the last value.
TEST(ObservationTracking, LosesNoUpdateWhileThreadsChangeAndFollow) {
  for (int round = 0; round < repetitions(300); ++round) {
    std::array<std::atomic<int>, 2> seen{};
    std::array<std::function<void()>, 2> track;
    Cell cell(0);
    for (std::size_t i = 0; i < 2; ++i) {
      track[i] = [&, i] {
        const int value = withObservationTracking([&] { return cell.value(); }, [&, i] { track[i](); });
        int before = seen[i].load();
        while (before < value && !seen[i].compare_exchange_weak(before, value)) {
        }
      };
    }
    std::thread follower([&] { track[1](); });
    std::thread writer([&] {
      for (int i = 1; i <= 20; ++i) cell.setValue(i);
    });
    track[0]();
    writer.join();
    follower.join();
    ASSERT_EQ(seen[0], 20);
    ASSERT_EQ(seen[1], 20);
  }
}

TEST(ObservationTracking, HandlerRunsOnceForChangesOfSeveralThreads) {
  for (int round = 0; round < repetitions(500); ++round) {
    std::atomic<int> changes = 0;
    auto cells = std::make_unique<std::array<Cell, 4>>();
    std::thread changer([&] { (*cells)[0].setValue(1); });
    std::thread other([&] { (*cells)[3].setValue(1); });
    withObservationTracking(
        [&] {
          for (const Cell& cell : *cells) static_cast<void>(cell.value());
        },
        [&] { ++changes; });
    changer.join();
    other.join();
    cells.reset();
    ASSERT_EQ(changes, 1);
  }
}

// A thread keeps state for tracking the same object again. That state ends with the object or with the thread.
TEST(ObservationTracking, ThreadsAndObjectsMayEndInAnyOrder) {
  const auto trackAndChange = [](Cell& cell) {
    for (int i = 0; i < 3; ++i) {
      int changes = 0;
      withObservationTracking([&] { return cell.value(); }, [&] { ++changes; });
      cell.setValue(i);
      ASSERT_EQ(changes, 1);
    }
  };
  const auto balance = [&](auto body) {
    const long before = Tests::allocatedBlocks();
    body();
    return Tests::allocatedBlocks() - before;
  };
  const auto onOneThread = [&] {
    Cell first;
    Cell second;
    trackAndChange(first);
    trackAndChange(second);
    trackAndChange(first);
  };
  const auto theThreadEndsFirst = [&] {
    Cell cell;
    onAnotherThread([&] { trackAndChange(cell); });
    trackAndChange(cell);
  };
  const auto theObjectEndsFirst = [&] {
    auto cell = std::make_unique<Cell>();
    std::atomic<bool> isTracked = false;
    std::atomic<bool> hasEnded = false;
    std::thread other([&] {
      trackAndChange(*cell);
      isTracked = true;
      isTracked.notify_one();
      hasEnded.wait(false);
    });
    isTracked.wait(false);
    cell.reset();
    hasEnded = true;
    hasEnded.notify_one();
    other.join();
  };
  // The first round makes the free lists of the threads, which stay.
  for (int round = 0; round < 3; ++round) {
    const long one = balance(onOneThread);
    const long two = balance(theThreadEndsFirst);
    const long three = balance(theObjectEndsFirst);
    if (round == 0) continue;
    EXPECT_EQ(one, 0);
    EXPECT_EQ(two, 0);
    EXPECT_EQ(three, 0);
  }
}

TEST(ObservationTracking, AllocatesNothingToTrackTheSameAgain) {
  Cell cell;
  int changes = 0;
  const auto cycle = [&] {
    withObservationTracking([&] { return cell.value(); }, [&] { ++changes; });
    cell.setValue(changes);
  };
  cycle();
  // Under a sanitizer each tracking is an allocation of its own.
  EXPECT_EQ(Tests::allocationsOf(cycle), detail::poolsFrames ? 0 : 1);
  EXPECT_EQ(changes, 2);
}

// Many threads use the lists of one property at once.
TEST(ObservationTracking, ManyThreadsMayTrackAndChangeOneProperty) {
  for (int round = 0; round < repetitions(30); ++round) {
    Cell cell;
    std::atomic<int> installed = 0;
    std::atomic<int> called = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&, thread] {
        for (int i = 0; i < 100; ++i) {
          if ((i + thread) % 3 == 0) {
            cell.setValue(i);
          } else {
            ++installed;
            withObservationTracking([&] { return cell.value(); }, [&] { ++called; });
          }
        }
      });
    }
    for (auto& thread : threads) thread.join();
    cell.setValue(0);
    ASSERT_EQ(called, installed);
  }
}

TEST(ObservationTrackingDeathTest, ThrowingHandlerStopsTheProcess) {
  EXPECT_EXIT(
      {
        Cell cell;
        withObservationTracking([&] { return cell.value(); }, [] { throw std::runtime_error("no"); });
        cell.setValue(1);
      },
      KilledBySignal(SIGABRT),
      "Tessaly/Notification:[0-9]+: Fatal error: The change handler of an observation has thrown\n");
}

}  // namespace
}  // namespace Tessaly
