// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Tessaly/Core/Base/detail/PerThread.hpp"

namespace Tessaly::detail {
namespace {

/// A value whose first destructor on a thread uses the thread's value again.
struct Revived {
  static inline std::atomic<int> made = 0;
  static inline std::atomic<int> destroyed = 0;
  static inline std::atomic<bool> metItself = false;

  Revived() { ++made; }
  Revived(const Revived&) = delete;
  Revived& operator=(const Revived&) = delete;
  ~Revived() {
    if (++destroyed == 1) metItself = &PerThread<Revived>::current() == this;
  }
};

TEST(PerThread, DestructorOfAValueGetsANewValue) {
  std::thread([] { PerThread<Revived>::current(); }).join();
  EXPECT_FALSE(Revived::metItself);
  EXPECT_EQ(Revived::made, 2);
  EXPECT_EQ(Revived::destroyed, 2);
}

}  // namespace
}  // namespace Tessaly::detail
