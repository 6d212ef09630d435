// SPDX-License-Identifier: MIT
#include "tests/Support/Allocations.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "Tessaly/Core/Base/detail/Sanitizers.hpp"

namespace {

constinit thread_local long allocations = 0;
constinit thread_local long deallocations = 0;
constinit std::atomic<long> blocksInUse{0};
constinit std::atomic<std::size_t> minimumFailingSize{SIZE_MAX};
constinit std::atomic<long> allocationsBeforeFailure{0};

void countAllocation() {
  ++allocations;
  blocksInUse.fetch_add(1, std::memory_order_relaxed);
}

void countDeallocation(const volatile void* memory) {
  if (memory == nullptr) return;
  ++deallocations;
  blocksInUse.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace

namespace Tessaly::Tests {

long allocationsOfThisThread() { return allocations; }
long deallocationsOfThisThread() { return deallocations; }
long allocatedBlocks() { return blocksInUse.load(); }

FailingAllocations::FailingAllocations(std::size_t minimumSize, long skipped) {
  allocationsBeforeFailure = skipped;
  minimumFailingSize = minimumSize;
}

FailingAllocations::~FailingAllocations() { minimumFailingSize = SIZE_MAX; }

}  // namespace Tessaly::Tests

#if TESSALY_IS_SANITIZED

// A sanitizer has its own operators, and reports their calls.

extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void*, std::size_t),
                                                         void (*freed)(const volatile void*));

namespace {

[[maybe_unused]] const int installed = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t) { countAllocation(); }, &countDeallocation);

}  // namespace

#else

namespace {

void* allocate(std::size_t size, std::size_t alignment) {
  if (size >= minimumFailingSize.load(std::memory_order_relaxed) && allocationsBeforeFailure.fetch_sub(1) <= 0) {
    throw std::bad_alloc();
  }
  countAllocation();
  void* memory = nullptr;
  if (alignment <= alignof(std::max_align_t)) {
    memory = std::malloc(size == 0 ? 1 : size);
  } else {
    memory = std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
  }
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void deallocate(void* memory) {
  countDeallocation(memory);
  std::free(memory);
}

}  // namespace

// The other forms of the standard library call these.
void* operator new(std::size_t size) { return allocate(size, 0); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { deallocate(memory); }
void operator delete(void* memory, std::size_t) noexcept { deallocate(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { deallocate(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { deallocate(memory); }

#endif
