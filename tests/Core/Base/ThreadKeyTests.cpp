// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <thread>

#include "Tessaly/Core/Base/detail/ThreadKey.hpp"

namespace Tessaly::inline v1::detail {
namespace {

TEST(ThreadKey, DestructorIsCalledAtTheEndOfTheThread) {
  static int* ended = nullptr;
  static const pthread_key_t key = makeThreadKey([](void* value) { ended = static_cast<int*>(value); });
  int value = 0;
  std::thread([&] { ::pthread_setspecific(key, &value); }).join();
  EXPECT_EQ(ended, &value);
}

TEST(ThreadKeyDeathTest, LackOfKeysStopsTheProcess) {
  EXPECT_DEATH(
      {
        pthread_key_t key{};
        while (::pthread_key_create(&key, nullptr) == 0) {
        }
        static_cast<void>(makeThreadKey(nullptr));
      },
      "no more keys for values of threads");
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
