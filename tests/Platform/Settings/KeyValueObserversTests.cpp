// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <optional>

#include "Tessaly/Platform/Settings/detail/KeyValueObservers.hpp"

namespace Tessaly::inline v1::detail {
namespace {

class Observer final : public KeyValueObserver {
 public:
  void observeValue(std::optional<std::string_view> /*keyPath*/, const Object* /*object*/,
                    const std::optional<KeyValueChange>& /*change*/, void* /*context*/) override {}
};

/// Counts the blocks of observers that are still allocated, which registrations hold as well.
template <typename T>
struct CountingAllocator {
  using value_type = T;
  explicit CountingAllocator(int& blocks) : blocks(&blocks) {}
  template <typename U>
  explicit CountingAllocator(const CountingAllocator<U>& other) : blocks(other.blocks) {}
  T* allocate(std::size_t count) {
    ++*blocks;
    return std::allocator<T>().allocate(count);
  }
  void deallocate(T* block, std::size_t count) {
    --*blocks;
    std::allocator<T>().deallocate(block, count);
  }
  friend bool operator==(const CountingAllocator&, const CountingAllocator&) noexcept = default;
  int* blocks;
};

TEST(KeyValueObservers, EndedObserversWithoutRemovalDoNotPileUp) {
  int blocks = 0;
  KeyValueObservers observers;
  const auto add = [&] {
    const auto observer = std::allocate_shared<Observer>(CountingAllocator<Observer>(blocks));
    observers.add(observer, "key", KeyValueObservingOptions::newValue, nullptr);
    observers.add(observer, std::nullopt, KeyValueObservingOptions::newValue, nullptr);
  };
  for (int i = 0; i < 1000; ++i) add();
  EXPECT_LE(blocks, 4);
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
