// SPDX-License-Identifier: MIT
// The children of a group that end, the task that takes them and waits, and a raise of that task.
//
// Memory orders in the implementation: one word holds the children that have ended, or the task that waits. A child's
// change of it releases the child's result and acquires what the waiting task wrote; taking acquires. Both are one
// compare-and-swap, repeated until it succeeds, so each is one step here. The newest child that was added, the level of
// the children, what the task awaits and its priority are sequentially consistent. The list of the children is under
// the group's lock, so each look at it is one step. The count is relaxed: it rises before a child is added, and a look
// at the newest child acquires it.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct TaskGroupModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// The task that waits overwrites the word.
    waitsWithoutLook,
    /// A child looks for a waiting task before it changes the word.
    looksBeforeTheChange,
    /// The children are taken as they stand in the word.
    takesNewestFirst,
    /// A new child does not get the level of the others.
    addsBelowTheLevel,
    /// A raise looks for lower children before it raises the level.
    looksBeforeTheLevel,
    /// The list is cleared, although a child may have been added meanwhile.
    clearsWithoutLook,
    /// A child is counted after it was added.
    countsTooLate,
    /// The task reads its priority before it says that it waits.
    readsPriorityTooEarly,
  };
  /// Children 0 and 1 run from the start. Another task adds child 2, and the group waits for that.
  static constexpr std::size_t children = 3;

  enum class Child : std::uint8_t { outside, run, looked, schedule, ended };
  enum class Adder : std::uint8_t { count, add, readLevel, raise, start, done };
  enum class Parent : std::uint8_t {
    take,
    lookAtNewest,
    lookAtCount,
    clear,
    collect,
    look,
    readPriority,
    say,
    raiseLevel,
    findLower,
    raise,
    publish,
    suspended,
    scheduled,
    done
  };
  enum class Raiser : std::uint8_t { raise, raiseLevel, findLower, raiseThem, done };
  using Numbers = std::array<std::uint8_t, children>;

  struct State {
    /// The children that have ended, each as its number plus 1, the newest first.
    Numbers word;
    std::uint8_t isWaitInWord;
    /// The children that a raise finds, the newest one as its number plus 1, and how many were not collected.
    Numbers isListed;
    std::uint8_t newest;
    std::uint8_t count;
    std::uint8_t isLocked;
    std::uint8_t sawNewest;
    /// Whether all children were raised.
    std::uint8_t isLevelHigh;
    /// What the parent has collected, the oldest first, and what it has in its hand meanwhile.
    Numbers ready;
    Numbers collected;
    /// The order of the ends, and how many of them the parent has taken.
    Numbers ends;
    std::uint8_t taken;
    std::uint8_t isOutOfOrder;
    Numbers isHigh;
    std::uint8_t sawLevelHigh;
    std::uint8_t sawWait;
    std::uint8_t isParentHigh;
    std::uint8_t sawParentHigh;
    std::uint8_t awaits;
    /// The children that the parent and the raiser have found below the level.
    Numbers lowerOfParent;
    Numbers lowerOfRaiser;
    std::array<Child, children> child;
    Adder adder;
    Parent parent;
    Raiser raiser;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant;

  [[nodiscard]] State initial() const {
    State state{};
    state.child = {Child::run, Child::run, Child::outside};
    state.adder = variant == Variant::countsTooLate ? Adder::add : Adder::count;
    state.isListed = {1, 1, 0};
    state.newest = 2;
    state.count = 2;
    return state;
  }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t i = 0; i < children; ++i) {
      emitStep(state, emit, "child " + std::to_string(i), state.child[i],
               [&](State& next) { return stepOfChild(next, i); });
    }
    emitStep(state, emit, "adder", state.adder, [&](State& next) { return stepOfAdder(next); });
    emitStep(state, emit, "parent", state.parent, [&](State& next) { return stepOfParent(next); });
    emitStep(state, emit, "raiser", state.raiser, [&](State& next) { return stepOfRaiser(next); });
  }

  static void append(Numbers& list, std::uint8_t number) { *std::ranges::find(list, 0) = number; }

  bool stepOfAdder(State& state) const {
    Adder& at = state.adder;
    switch (at) {
      case Adder::count:
        ++state.count;
        at = variant == Variant::countsTooLate ? Adder::readLevel : Adder::add;
        return true;
      case Adder::add:
        state.isListed[2] = 1;
        state.newest = 3;
        at = variant == Variant::countsTooLate ? Adder::count : Adder::readLevel;
        return true;
      case Adder::readLevel:
        state.sawLevelHigh = state.isLevelHigh;
        at = Adder::raise;
        return true;
      case Adder::raise:
        if (state.sawLevelHigh != 0 && variant != Variant::addsBelowTheLevel) state.isHigh[2] = 1;
        at = Adder::start;
        return true;
      case Adder::start:
        state.child[2] = Child::run;
        at = Adder::done;
        return true;
      case Adder::done:
        return false;
    }
    return false;
  }

  bool stepOfChild(State& state, std::size_t self) const {
    Child& at = state.child[self];
    switch (at) {
      case Child::run:
        if (variant == Variant::looksBeforeTheChange) {
          state.sawWait = static_cast<std::uint8_t>((state.sawWait & ~(1U << self)) | (state.isWaitInWord << self));
          at = Child::looked;
        } else {
          end(state, self, state.isWaitInWord != 0);
        }
        return true;
      case Child::looked:
        end(state, self, (state.sawWait >> self & 1U) != 0);
        return true;
      case Child::schedule:
        if (state.parent == Parent::suspended) state.parent = Parent::scheduled;
        at = Child::ended;
        return true;
      case Child::outside:
      case Child::ended:
        return false;
    }
    return false;
  }

  static void end(State& state, std::size_t self, bool schedules) {
    const auto number = static_cast<std::uint8_t>(self + 1);
    std::ranges::rotate(state.word, state.word.end() - 1);
    state.word[0] = number;
    state.isWaitInWord = 0;
    append(state.ends, number);
    state.child[self] = schedules ? Child::schedule : Child::ended;
  }

  bool stepOfParent(State& state) const {
    Parent& at = state.parent;
    switch (at) {
      case Parent::take:
        takeOne(state);
        return true;
      case Parent::lookAtNewest:  // With the lock, until the children are collected.
        if (state.isLocked != 0) return false;
        state.isLocked = 1;
        state.sawNewest = state.newest;
        at = Parent::lookAtCount;
        return true;
      case Parent::lookAtCount: {
        const auto collected = children - std::ranges::count(state.collected, 0);
        at = state.count == collected ? Parent::clear : Parent::collect;
        return true;
      }
      case Parent::clear:
        if (state.newest == state.sawNewest || variant == Variant::clearsWithoutLook) {
          state.isListed = {};
          state.newest = 0;
        }
        at = Parent::collect;
        return true;
      case Parent::collect:
        collect(state);
        at = Parent::take;
        return true;
      case Parent::look:
        if (state.count == 0) {
          if (state.adder != Adder::done) return false;
          at = Parent::done;
        } else {
          at = variant == Variant::readsPriorityTooEarly ? Parent::readPriority : Parent::say;
        }
        return true;
      case Parent::say:
        state.awaits = 1;
        at = variant == Variant::readsPriorityTooEarly ? firstOfRaise() : Parent::readPriority;
        return true;
      case Parent::readPriority:
        state.sawParentHigh = state.isParentHigh;
        at = variant == Variant::readsPriorityTooEarly ? Parent::say : firstOfRaise();
        return true;
      case Parent::raiseLevel: {
        const bool isFirst = state.sawParentHigh != 0 && std::exchange(state.isLevelHigh, 1) == 0;
        at = isFirst && variant != Variant::looksBeforeTheLevel ? Parent::findLower : Parent::raise;
        return true;
      }
      case Parent::findLower:
        if (state.sawParentHigh != 0) state.lowerOfParent = state.isListed;
        at = variant == Variant::looksBeforeTheLevel ? Parent::raiseLevel : Parent::raise;
        return true;
      case Parent::raise:
        raiseAll(state, state.lowerOfParent);
        at = Parent::publish;
        return true;
      case Parent::publish:
        publish(state);
        return true;
      case Parent::scheduled:
        state.awaits = 0;
        at = Parent::take;
        return true;
      case Parent::suspended:
      case Parent::done:
        return false;
    }
    return false;
  }

  [[nodiscard]] Parent firstOfRaise() const {
    return variant == Variant::looksBeforeTheLevel ? Parent::findLower : Parent::raiseLevel;
  }

  /// Takes a child that was collected, or else takes over the word.
  static void takeOne(State& state) {
    if (state.ready[0] != 0) {
      if (state.ends[state.taken++] != state.ready[0]) state.isOutOfOrder = 1;
      std::ranges::rotate(state.ready, state.ready.begin() + 1);
      state.ready.back() = 0;
    } else if (state.word[0] != 0) {
      state.collected = std::exchange(state.word, {});
      state.parent = Parent::lookAtNewest;
    } else {
      state.parent = Parent::look;
    }
  }

  void collect(State& state) const {
    Numbers numbers = std::exchange(state.collected, {});
    if (variant != Variant::takesNewestFirst) std::ranges::reverse(numbers);
    for (const std::uint8_t number : numbers) {
      if (number == 0) continue;
      state.isListed[number - 1U] = 0;
      append(state.ready, number);
      --state.count;
    }
    state.newest = 0;
    state.isLocked = 0;
  }

  void publish(State& state) const {
    state.parent = Parent::suspended;
    if (variant == Variant::waitsWithoutLook) {
      state.word = {};
      state.isWaitInWord = 1;
    } else if (state.word[0] == 0) {
      state.isWaitInWord = 1;
    } else {
      state.parent = Parent::scheduled;  // It goes on at once.
    }
  }

  static void raiseAll(State& state, Numbers& lower) {
    for (std::size_t i = 0; i < children; ++i) {
      if (lower[i] != 0) state.isHigh[i] = 1;
    }
    lower = {};
  }

  static bool stepOfRaiser(State& state) {
    switch (state.raiser) {
      case Raiser::raise:
        state.isParentHigh = 1;
        state.raiser = Raiser::raiseLevel;
        return true;
      case Raiser::raiseLevel:
        state.raiser = state.awaits != 0 && std::exchange(state.isLevelHigh, 1) == 0 ? Raiser::findLower : Raiser::done;
        return true;
      case Raiser::findLower:
        if (state.isLocked != 0) return false;
        state.lowerOfRaiser = state.isListed;
        state.newest = 0;
        state.raiser = Raiser::raiseThem;
        return true;
      case Raiser::raiseThem:
        raiseAll(state, state.lowerOfRaiser);
        state.raiser = Raiser::done;
        return true;
      case Raiser::done:
        return false;
    }
    return false;
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    if (state.isOutOfOrder != 0) return "the children were taken out of order";
    for (std::size_t i = 0; i < children; ++i) {
      if (state.parent == Parent::done && state.child[i] != Child::ended) return "the group ended before a child";
      const bool isRunning = state.child[i] == Child::run;
      const bool isRaised = state.raiser == Raiser::done && state.parent == Parent::suspended;
      if (isRunning && isRaised && state.isHigh[i] == 0) return "a raised parent waits for a low child";
    }
    return "";
  }
  [[nodiscard]] bool mayEnd(const State& state) const {
    return state.parent == Parent::done && state.raiser == Raiser::done && state.taken == children;
  }
};

using Variant = TaskGroupModel::Variant;

std::string violationOf(Variant variant) { return explore(TaskGroupModel{variant}).violation; }

TEST(TaskGroupModel, EveryChildIsTakenOnceAndInOrder) { expectNoViolation(TaskGroupModel{Variant::asWritten}, 2'000); }

TEST(TaskGroupModel, CatchesAWaitThatForgetsAChild) {
  EXPECT_EQ(violationOf(Variant::waitsWithoutLook), "the children were taken out of order");
}

TEST(TaskGroupModel, CatchesAChildThatMissesTheWaitingTask) {
  EXPECT_EQ(violationOf(Variant::looksBeforeTheChange), "nothing can go on");
}

TEST(TaskGroupModel, CatchesChildrenThatOvertakeOneAnother) {
  EXPECT_EQ(violationOf(Variant::takesNewestFirst), "the children were taken out of order");
}

TEST(TaskGroupModel, CatchesANewChildBelowTheLevel) {
  EXPECT_EQ(violationOf(Variant::addsBelowTheLevel), "a raised parent waits for a low child");
}

TEST(TaskGroupModel, CatchesALookBeforeTheLevelIsRaised) {
  EXPECT_EQ(violationOf(Variant::looksBeforeTheLevel), "a raised parent waits for a low child");
}

TEST(TaskGroupModel, CatchesAListThatIsClearedWithAChildInIt) {
  EXPECT_EQ(violationOf(Variant::clearsWithoutLook), "a raised parent waits for a low child");
}

TEST(TaskGroupModel, CatchesAChildThatIsCountedTooLate) {
  EXPECT_EQ(violationOf(Variant::countsTooLate), "a raised parent waits for a low child");
}

TEST(TaskGroupModel, CatchesAPriorityThatIsReadTooEarly) {
  EXPECT_EQ(violationOf(Variant::readsPriorityTooEarly), "a raised parent waits for a low child");
}

}  // namespace
}  // namespace Tessaly::Tests
