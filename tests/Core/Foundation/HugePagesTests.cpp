// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

#include "Tessaly/Core/Foundation/detail/HugePages.hpp"

namespace {

/// The page size that `sysconf` returns instead of the system's, or 0.
long pretendedPageSize = 0;
void* advisedBegin = nullptr;
std::size_t advisedSize = 0;

}  // namespace

// These functions replace those of the C library. The thread sanitizer calls them before it can watch any code.

extern "C" [[clang::disable_sanitizer_instrumentation]] long sysconf(int name) noexcept {
  if (name == _SC_PAGESIZE && pretendedPageSize != 0) return pretendedPageSize;
  return reinterpret_cast<long (*)(int)>(::dlsym(RTLD_NEXT, "sysconf"))(name);
}

extern "C" [[clang::disable_sanitizer_instrumentation]] int madvise(void* memory, std::size_t size,
                                                                    int advice) noexcept {
  if (pretendedPageSize == 0) {
    return reinterpret_cast<int (*)(void*, std::size_t, int)>(::dlsym(RTLD_NEXT, "madvise"))(memory, size, advice);
  }
  advisedBegin = memory;
  advisedSize = size;
  return 0;
}

namespace Tessaly {
namespace {

TEST(HugePages, AdviceCoversWholePagesOfTheSystem) {
  constexpr std::uintptr_t address = std::uintptr_t{1} << 32;
  constexpr std::size_t block = std::size_t{32} << 20;
  for (const long page : {4'096L, 65'536L}) {
    pretendedPageSize = page;
    detail::adviseHugePages(reinterpret_cast<void*>(address + 16), block);
    const auto size = static_cast<std::size_t>(page);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(advisedBegin), address + size);
    EXPECT_EQ(advisedSize, block - size);
  }
  pretendedPageSize = 0;
}

}  // namespace
}  // namespace Tessaly
