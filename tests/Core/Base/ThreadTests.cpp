// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <csignal>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>

#include "Tessaly/Core/Base/detail/Thread.hpp"

namespace Tessaly {
namespace {

// Excludes the signals that the C library reserves, and those that cannot be blocked.
bool canBeBlocked(int signal) { return signal != SIGKILL && signal != SIGSTOP && (signal <= 31 || signal >= SIGRTMIN); }

template <typename Body>
auto resultOnLibraryThread(const char* name, Body body) {
  std::packaged_task<std::invoke_result_t<Body>()> task(body);
  auto result = task.get_future();
  detail::startLibraryThread(name, std::move(task));
  return result.get();
}

std::string currentThreadName() {
  std::array<char, 16> name{};
  ::pthread_getname_np(::pthread_self(), name.data(), name.size());
  return name.data();
}

sigset_t currentMask() {
  sigset_t mask;
  ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return mask;
}

TEST(LibraryThread, HasEverySignalBlocked) {
  const sigset_t mask = resultOnLibraryThread("tessaly-test", currentMask);
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    if (canBeBlocked(signal)) {
      EXPECT_EQ(sigismember(&mask, signal), 1) << signal;
    }
  }
}

TEST(LibraryThread, KeepsTheSignalMaskOfItsStarter) {
  const sigset_t before = currentMask();
  resultOnLibraryThread("tessaly-test", currentMask);
  const sigset_t after = currentMask();
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
  }
}

TEST(LibraryThread, CarriesItsName) {
  EXPECT_EQ(resultOnLibraryThread("tessaly-pool", currentThreadName), "tessaly-pool");
}

TEST(LibraryThread, CarriesTheFirstFifteenCharactersOfALongName) {
  EXPECT_EQ(resultOnLibraryThread("tessaly-blocking-work", currentThreadName), "tessaly-blockin");
}

TEST(LibraryThread, DestroysItsBodyWhenItEnds) {
  std::promise<void> destroyed;
  auto token = std::unique_ptr<std::promise<void>, void (*)(std::promise<void>*)>(
      &destroyed, [](std::promise<void>* promise) { promise->set_value(); });
  detail::startLibraryThread("tessaly-test", [token = std::move(token)] {});
  destroyed.get_future().wait();
}

TEST(LibraryThread, StopsTheProcessWhenItsBodyThrows) {
  EXPECT_EXIT(
      {
        detail::startLibraryThread("tessaly-test", [] { throw std::runtime_error("lost"); });
        for (;;) ::pause();
      },
      testing::KilledBySignal(SIGABRT),
      testing::MatchesRegex("Tessaly/Thread:[0-9]+: Fatal error: A library thread's body has thrown\n"));
}

TEST(LibraryThread, StopsTheProcessWhenTheSystemRefusesAThread) {
  EXPECT_EXIT(
      {
        // No address space holds a stack of this size.
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        ::pthread_attr_setstacksize(&attributes, std::size_t{1} << 62);
        ::pthread_setattr_default_np(&attributes);
        detail::startLibraryThread("tessaly-test", [] {});
      },
      testing::KilledBySignal(SIGABRT),
      testing::MatchesRegex("Tessaly/Thread:[0-9]+: Fatal error: The system refused to start a thread\n"));
}

}  // namespace
}  // namespace Tessaly
