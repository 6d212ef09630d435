// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/detail/HugePages.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace Tessaly::inline v1 {

void detail::adviseHugePages(void* memory, std::size_t size) noexcept {
  constexpr std::size_t ownMapping = std::size_t{32} << 20;
  if (size < ownMapping) return;
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  const auto address = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t begin = (address + page - 1) & ~(page - 1);
  const std::uintptr_t end = (address + size) & ~(page - 1);
  // If the kernel refuses, writing only takes longer.
  static_cast<void>(::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE));
}

}  // namespace Tessaly::inline v1
