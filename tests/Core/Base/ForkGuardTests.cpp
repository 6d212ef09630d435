// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "tests/Support/ForkedChild.hpp"

namespace Tessaly {
namespace {

using Tests::statusOfForkedChild;

TEST(ForkGuard, ForkBeforeTheFirstThreadIsAllowed) {
  EXPECT_EQ(statusOfForkedChild([] { detail::stopIfForkedChild(); }), 0);
}

TEST(ForkGuard, ParentGoesOnAfterAFork) {
  detail::startLibraryThread("tessaly-test", [] {});
  EXPECT_EQ(statusOfForkedChild([] {}), 0);
  detail::stopIfForkedChild();
}

TEST(ForkGuard, ChildThatUsesItsParentsRuntimeIsStopped) {
  detail::startLibraryThread("tessaly-test", [] {});
  EXPECT_EXIT(
      {
        const pid_t child = ::fork();
        if (child == 0) detail::stopIfForkedChild();
        int status = 0;
        ::waitpid(child, &status, 0);
        ::_exit(WIFSIGNALED(status) ? WTERMSIG(status) : 0);
      },
      testing::ExitedWithCode(SIGABRT),
      testing::MatchesRegex("Tessaly/ForkGuard:[0-9]+: Fatal error: The runtime was used in the child of a fork that "
                            "happened after the runtime had started; fork before first use, or call exec in the "
                            "child\n"));
}

TEST(ForkGuard, StopsAGrandchildToo) {
  detail::noteRuntimeStarted();
  const int status = statusOfForkedChild([] {
    const int inner = statusOfForkedChild([] {
      ::close(STDERR_FILENO);
      detail::stopIfForkedChild();
    });
    ::_exit(WIFSIGNALED(inner) ? WTERMSIG(inner) : 0);
  });
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), SIGABRT);
}

TEST(ForkGuard, ExecutedProgramIsAllowed) {
  detail::noteRuntimeStarted();
  EXPECT_EQ(statusOfForkedChild([] { ::execl("/bin/true", "true", nullptr); }), 0);
}

}  // namespace
}  // namespace Tessaly
