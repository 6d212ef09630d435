// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly {
namespace {

using testing::Eq;
using testing::KilledBySignal;
using testing::MatchesRegex;

void say(const char* text) { [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text, std::strlen(text)); }

TEST(FatalError, WritesFileLineAndMessageThenAborts) {
  EXPECT_EXIT(fatalError("the ring is empty", "Tessaly/RingArray", 42), KilledBySignal(SIGABRT),
              Eq("Tessaly/RingArray:42: Fatal error: the ring is empty\n"));
}

TEST(FatalError, WritesALongMessageWhole) {
  const std::string message(100'000, 'x');
  EXPECT_EXIT(fatalError(message, "Tessaly/A", 1), KilledBySignal(SIGABRT),
              Eq("Tessaly/A:1: Fatal error: " + message + "\n"));
}

TEST(FatalError, KeepsBracesInTheMessage) {
  EXPECT_EXIT(fatalError("{} {0} }{", "Tessaly/{}", 7), KilledBySignal(SIGABRT),
              Eq("Tessaly/{}:7: Fatal error: {} {0} }{\n"));
}

TEST(FatalError, OnlyOneOfSeveralThreadsReports) {
  for (int round = 0; round < 20; ++round) {
    EXPECT_EXIT(
        {
          std::vector<std::thread> threads;
          for (unsigned i = 0; i < 8; ++i) threads.emplace_back([i] { fatalError("raced", "Tessaly/Thread", i); });
          for (auto& thread : threads) thread.join();
        },
        KilledBySignal(SIGABRT), MatchesRegex("Tessaly/Thread:[0-7]: Fatal error: raced\n"));
  }
}

TEST(FatalError, AbortsEvenWhenStandardErrorIsClosed) {
  EXPECT_EXIT(
      {
        ::close(STDERR_FILENO);
        fatalError("unheard", "Tessaly/A", 1);
      },
      KilledBySignal(SIGABRT), Eq(""));
}

TEST(FatalErrorHandler, RunsAfterTheMessageAndBeforeTheAbort) {
  EXPECT_EXIT(
      {
        addFatalErrorHandler([]() noexcept { say("flushed\n"); });
        fatalError("stopped", "Tessaly/A", 1);
      },
      KilledBySignal(SIGABRT), Eq("Tessaly/A:1: Fatal error: stopped\nflushed\n"));
}

TEST(FatalErrorHandler, AddedTwiceRunsOnce) {
  EXPECT_EXIT(
      {
        constexpr auto handler = []() noexcept { say("flushed\n"); };
        addFatalErrorHandler(handler);
        addFatalErrorHandler(handler);
        fatalError("stopped", "Tessaly/A", 1);
      },
      KilledBySignal(SIGABRT), Eq("Tessaly/A:1: Fatal error: stopped\nflushed\n"));
}

template <int N>
void handlerNumber() noexcept {
  say(std::to_string(N).c_str());
}

template <int... N>
void addHandlers(std::integer_sequence<int, N...>) {
  (addFatalErrorHandler(&handlerNumber<N>), ...);
}

TEST(FatalErrorHandler, BeyondTheEighthIsIgnored) {
  EXPECT_EXIT(
      {
        addHandlers(std::make_integer_sequence<int, 10>());
        fatalError("stopped", "Tessaly/A", 1);
      },
      KilledBySignal(SIGABRT), Eq("Tessaly/A:1: Fatal error: stopped\n01234567"));
}

TEST(FatalErrorHandler, FailingHandlerEndsTheProcessAtOnce) {
  EXPECT_EXIT(
      {
        addFatalErrorHandler([]() noexcept { fatalError("second", "Tessaly/B", 2); });
        addFatalErrorHandler([]() noexcept { say("never reached\n"); });
        fatalError("first", "Tessaly/A", 1);
      },
      KilledBySignal(SIGABRT), Eq("Tessaly/A:1: Fatal error: first\n"));
}

}  // namespace
}  // namespace Tessaly
