// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Tessaly::Tests {

/// Lowers a limit of this process for its own lifetime.
class LoweredLimit {
 public:
  LoweredLimit(__rlimit_resource resource, rlim_t value) : resource_(resource) {
    EXPECT_EQ(::getrlimit(resource_, &former_), 0);
    const rlimit lowered{.rlim_cur = value, .rlim_max = former_.rlim_max};
    EXPECT_EQ(::setrlimit(resource_, &lowered), 0);
  }
  ~LoweredLimit() { ::setrlimit(resource_, &former_); }
  LoweredLimit(const LoweredLimit&) = delete;
  LoweredLimit& operator=(const LoweredLimit&) = delete;

 private:
  __rlimit_resource resource_;
  rlimit former_{};
};

/// Lets this process open only `spare` descriptors more than it has open now.
[[nodiscard]] inline LoweredLimit fewDescriptors(int spare) {
  const int lowest = ::dup(STDIN_FILENO);
  ::close(lowest);
  return {RLIMIT_NOFILE, static_cast<rlim_t>(lowest + spare)};
}

}  // namespace Tessaly::Tests
