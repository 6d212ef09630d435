// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <tuple>
#include <vector>

// Explores every interleaving of a few threads at one call gate. Each thread is a state machine. Its steps are the
// atomic operations of CallGate.cpp, and the wait and wake of the futex. The search visits every reachable state.

namespace Tessaly {
namespace {

constexpr std::uint32_t closedBit = 1U << 31;
constexpr std::uint32_t callMask = 0x7FFF;
constexpr std::uint32_t closingUnit = 0x8000;

enum class Step : std::uint8_t {
  enter,
  refuse,
  refuseWake,
  close,
  announce,
  announceWake,
  look,
  sleep,
  asleep,
  meet,
  body,
  leave,
  leaveWake,
  done
};

/// `meets` is a call that closes the gate, and then waits until every other such call has closed it, too.
enum class Kind : std::uint8_t { calls, callsAndCloses, meets, closes };

struct Thread {
  Kind kind;
  Step step;
  std::uint32_t seen = 0;
  bool isIn = false;
  bool hasClosed = false;
  auto operator<=>(const Thread&) const = default;
};

struct State {
  std::uint32_t word = 0;
  bool isGone = false;  // Whether an outside thread has returned from `close()` and destroyed the gate.
  std::vector<Thread> threads;
  auto operator<=>(const State&) const = default;
};

void wake(State& state) {
  for (Thread& thread : state.threads) {
    if (thread.step == Step::asleep) thread.step = Step::look;
  }
}

/// The steps of `close()`.
void stepOfClosing(State& state, Thread& self) {
  const std::uint32_t own = self.isIn ? closingUnit : 0;
  switch (self.step) {
    case Step::close:
      state.word |= closedBit;
      self.step = Step::announce;
      break;
    case Step::announce:
      state.word += own;
      self.hasClosed = own != 0;
      self.step = own != 0 ? Step::announceWake : Step::look;
      break;
    case Step::announceWake:
      wake(state);
      self.step = Step::look;
      break;
    case Step::look: {
      self.seen = state.word;
      const std::uint32_t closing = (self.seen & ~closedBit) / closingUnit;
      const bool isFree = (self.seen & callMask) <= (own != 0 ? closing : 0);
      const Step next = own == 0 ? Step::done : self.kind == Kind::meets ? Step::meet : Step::leave;
      self.step = isFree ? next : Step::sleep;
      if (self.step == Step::done) state.isGone = true;
      break;
    }
    default:
      self.step = state.word == self.seen ? Step::asleep : Step::look;
  }
}

/// Makes the thread's next step. Returns false if the thread cannot make one.
bool advance(State& state, std::size_t index) {
  Thread& self = state.threads[index];
  switch (self.step) {
    case Step::enter:
      self.isIn = (state.word & closedBit) == 0;
      ++state.word;
      self.step = !self.isIn ? Step::refuse : self.kind == Kind::calls ? Step::body : Step::close;
      return true;
    case Step::refuse:
      --state.word;
      self.step = Step::refuseWake;
      return true;
    case Step::body:
      self.step = Step::leave;
      return true;
    case Step::leave:
      state.word -= self.hasClosed ? 1 + closingUnit : 1;
      self.isIn = false;
      self.step = (state.word & closedBit) != 0 ? Step::leaveWake : Step::done;
      return true;
    case Step::refuseWake:
    case Step::leaveWake:
      wake(state);  // Waking reads no memory of the gate.
      self.step = Step::done;
      return true;
    case Step::meet: {
      const auto isBefore = [](const Thread& thread) { return thread.isIn && thread.step < Step::meet; };
      if (std::ranges::any_of(state.threads, isBefore)) return false;
      self.step = Step::leave;
      return true;
    }
    case Step::asleep:
    case Step::done:
      return false;
    default:
      stepOfClosing(state, self);
      return true;
  }
}

struct Findings {
  std::size_t states = 0;
  bool hangs = false;
  bool callsAfterClosing = false;
};

/// A call that is admitted after an outside thread's `close()` returned could use objects that the thread destroys.
Findings explore(const std::vector<Kind>& kinds) {
  State first;
  for (const Kind kind : kinds) first.threads.push_back({kind, kind == Kind::closes ? Step::close : Step::enter});
  std::set<State> seen{first};
  std::vector<State> open{first};
  Findings findings;
  while (!open.empty()) {
    const State state = open.back();
    open.pop_back();
    bool isStuck = true;
    bool isDone = true;
    for (std::size_t i = 0; i < state.threads.size(); ++i) {
      const Thread& thread = state.threads[i];
      isDone = isDone && thread.step == Step::done;
      if (state.isGone && thread.isIn) findings.callsAfterClosing = true;
      State next = state;
      if (!advance(next, i)) continue;
      isStuck = false;
      if (seen.insert(next).second) open.push_back(next);
    }
    if (isStuck && !isDone) findings.hangs = true;
  }
  findings.states = seen.size();
  return findings;
}

class CallGateModel : public testing::TestWithParam<std::vector<Kind>> {};

TEST_P(CallGateModel, NeitherHangsNorCallsAfterClosing) {
  const Findings findings = explore(GetParam());
  EXPECT_FALSE(findings.hangs);
  EXPECT_FALSE(findings.callsAfterClosing);
  EXPECT_GT(findings.states, 10U);
}

using enum Kind;
INSTANTIATE_TEST_SUITE_P(Threads, CallGateModel,
                         testing::Values(std::vector{calls, closes}, std::vector{calls, calls, closes},
                                         std::vector{calls, closes, closes}, std::vector{callsAndCloses, closes},
                                         std::vector{callsAndCloses, callsAndCloses},
                                         std::vector{callsAndCloses, callsAndCloses, closes},
                                         std::vector{callsAndCloses, callsAndCloses, callsAndCloses},
                                         std::vector{calls, callsAndCloses, callsAndCloses, closes},
                                         std::vector{calls, calls, callsAndCloses, closes}, std::vector{meets, meets},
                                         std::vector{meets, meets, closes}, std::vector{meets, meets, meets}));

}  // namespace
}  // namespace Tessaly
