// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

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

}  // namespace Tessaly::Tests
