// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <type_traits>

namespace Tessaly::Tests {

/// Runs the body in the child of a fork, and returns the child's status as from `waitpid`. The child exits with the
/// body's result, or with 0 if the body returns nothing. A child that hangs is ended after 20 s.
template <typename Body>
int statusOfForkedChild(Body body) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(20);
    if constexpr (std::is_void_v<std::invoke_result_t<Body&>>) {
      body();
      ::_exit(0);
    } else {
      ::_exit(body());
    }
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return status;
}

/// The same, but its exit status, or -1 if a signal ended the child.
template <typename Body>
int exitStatusOfForkedChild(Body body) {
  const int status = statusOfForkedChild(body);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace Tessaly::Tests
