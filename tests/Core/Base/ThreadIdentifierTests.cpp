// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "Tessaly/Core/Base/ThreadIdentifier.hpp"

namespace Tessaly {
namespace {

TEST(ThreadIdentifier, IsTheNumberOfTheKernel) {
  EXPECT_EQ(currentThreadIdentifier(), static_cast<std::uint32_t>(::gettid()));
  EXPECT_EQ(currentThreadIdentifier(), static_cast<std::uint32_t>(::gettid()));
}

TEST(ThreadIdentifier, DiffersAmongThreads) {
  const std::uint32_t here = currentThreadIdentifier();
  std::uint32_t there = here;
  std::jthread([&] { there = currentThreadIdentifier(); }).join();
  EXPECT_NE(there, here);
}

TEST(ThreadIdentifier, IsUpdatedInTheChildOfAFork) {
  ASSERT_NE(currentThreadIdentifier(), 0U);
  const pid_t child = ::fork();
  if (child == 0) ::_exit(currentThreadIdentifier() == static_cast<std::uint32_t>(::gettid()) ? 0 : 1);
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace Tessaly
