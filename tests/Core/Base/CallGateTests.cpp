// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <memory>
#include <semaphore>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/CallGate.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/Threads.hpp"

namespace Tessaly {
namespace {

TEST(CallGate, AdmitsCallsUntilItIsClosed) {
  CallGate gate;
  {
    const CallGate::Call call(gate);
    EXPECT_TRUE(call.isAdmitted());
    EXPECT_FALSE(gate.isClosed());
  }
  EXPECT_TRUE(gate.close());
  EXPECT_TRUE(gate.isClosed());
  const CallGate::Call call(gate);
  EXPECT_FALSE(call.isAdmitted());
}

TEST(CallGate, ClosingTwiceIsHarmless) {
  CallGate gate;
  EXPECT_TRUE(gate.close());
  EXPECT_TRUE(gate.close());
}

TEST(CallGate, ClosingDoesNotWaitForCallsOfItsOwnThread) {
  CallGate gate;
  const CallGate::Call outer(gate);
  const CallGate::Call inner(gate);
  EXPECT_FALSE(gate.close());
  const CallGate::Call later(gate);
  EXPECT_FALSE(later.isAdmitted());
}

TEST(CallGate, CallsOfAnotherGateAreNotCounted) {
  CallGate gate;
  CallGate other;
  const CallGate::Call call(other);
  EXPECT_TRUE(gate.close());
}

TEST(CallGate, ClosingWaitsForCallOfAnotherThread) {
  CallGate gate;
  std::binary_semaphore hasEntered{0};
  std::binary_semaphore mayLeave{0};
  bool hasLeft = false;  // Not atomic: the return of `close()` orders it.
  std::jthread calling([&] {
    const CallGate::Call call(gate);
    hasEntered.release();
    mayLeave.acquire();
    hasLeft = true;
  });
  hasEntered.acquire();
  std::atomic<pid_t> closing{0};
  std::jthread releasing([&] {
    while (closing == 0) std::this_thread::yield();
    Tests::waitUntilAsleep(closing);
    mayLeave.release();
  });
  closing = ::gettid();
  EXPECT_TRUE(gate.close());
  EXPECT_TRUE(hasLeft);
}

TEST(CallGate, TwoCallsThatCloseDoNotWaitForEachOther) {
  for (int round = 0; round < Tests::repetitions(200); ++round) {
    CallGate gate;
    std::atomic<int> entered{0};
    std::atomic<int> closed{0};
    const auto callAndClose = [&] {
      const CallGate::Call call(gate);
      ++entered;
      while (entered < 2) std::this_thread::yield();
      EXPECT_FALSE(gate.close());
      // Each call now waits until the other one has closed the gate.
      ++closed;
      while (closed < 2) std::this_thread::yield();
    };
    const std::jthread first(callAndClose);
    const std::jthread second(callAndClose);
  }
}

TEST(CallGate, MayBeClosedAgainInsideNestedCalls) {
  CallGate gate;
  {
    const CallGate::Call outer(gate);
    {
      const CallGate::Call inner(gate);
      EXPECT_FALSE(gate.close());
      EXPECT_FALSE(gate.close());
    }
    EXPECT_FALSE(gate.close());
  }
  EXPECT_TRUE(gate.close());
}

TEST(CallGate, ThreadOutsideWaitsForCallsThatCloseThemselves) {
  for (int round = 0; round < Tests::repetitions(200); ++round) {
    auto gate = std::make_unique<CallGate>();
    std::atomic<int> entered{0};
    int left = 0;
    const auto callAndClose = [&, gate = gate.get()](int& hasLeft) {
      const CallGate::Call call(*gate);
      ++entered;
      while (entered < 2) std::this_thread::yield();
      gate->close();
      hasLeft = 1;
    };
    int left2 = 0;
    const std::jthread first([&] { callAndClose(left); });
    const std::jthread second([&] { callAndClose(left2); });
    while (entered < 2) std::this_thread::yield();
    EXPECT_TRUE(gate->close());
    EXPECT_EQ(left + left2, 2);
    gate.reset();  // No call uses the gate afterwards.
  }
}

TEST(CallGate, NoCallRunsAfterClosing) {
  for (int round = 0; round < Tests::repetitions(300); ++round) {
    CallGate gate;
    auto state = std::make_unique<std::atomic<int>>(0);
    std::atomic<int> calls{0};
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 3; ++thread) {
      threads.emplace_back([&gate, &calls, raw = state.get()] {
        for (;;) {
          const CallGate::Call call(gate);
          if (!call.isAdmitted()) return;
          raw->fetch_add(1);
          const CallGate::Call nested(gate);
          raw->fetch_sub(1);
          ++calls;
        }
      });
    }
    while (calls < round % 20) std::this_thread::yield();
    EXPECT_TRUE(gate.close());
    EXPECT_EQ(*state, 0);
    state.reset();
  }
}

TEST(CallGate, ClosingInForkedChildDoesNotWait) {
  detail::startLibraryThread("tessaly-test", [] {});
  CallGate gate;
  std::binary_semaphore hasEntered{0};
  std::binary_semaphore mayLeave{0};
  const std::jthread calling([&] {
    const CallGate::Call call(gate);
    hasEntered.release();
    mayLeave.acquire();
  });
  hasEntered.acquire();
  const pid_t child = ::fork();
  if (child == 0) ::_exit(gate.close() ? 1 : 0);
  mayLeave.release();
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(CallGate, EveryPossibleCallMayCloseTheGate) {
  CallGate gate;
  {
    std::deque<CallGate::Call> calls;
    for (int i = 0; i < 32'767; ++i) calls.emplace_back(gate);
    EXPECT_FALSE(gate.close());
    EXPECT_TRUE(gate.isClosed());
    while (!calls.empty()) calls.pop_back();
  }
  EXPECT_TRUE(gate.isClosed());
  EXPECT_TRUE(gate.close());
}

TEST(CallGateDeathTest, TooManyCallsAtOnceStopTheProcess) {
  CallGate gate;
  EXPECT_DEATH(
      {
        std::deque<CallGate::Call> calls;
        for (int i = 0; i < 32'768; ++i) calls.emplace_back(gate);
      },
      "More than 32767 calls of one handler run at once");
}

}  // namespace
}  // namespace Tessaly
