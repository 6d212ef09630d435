// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/detail/LateLibrary.hpp"

#include <dlfcn.h>

#include <string>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {

bool LateLibrary::isLoaded() const noexcept {
  // A thread that reads the handle must also see the memory of the library that another thread has loaded.
  if (handle_.load(std::memory_order_acquire) != nullptr) return true;
  // If two threads come here at once, the loader counts one library twice. It would never be unloaded anyway.
  void* const handle = ::dlopen(file_, RTLD_LAZY | RTLD_LOCAL);
  if (handle == nullptr) return false;
  handle_.store(handle, std::memory_order_release);
  return true;
}

void* LateLibrary::address(const char* symbol) const noexcept {
  void* const result = isLoaded() ? ::dlsym(handle_.load(std::memory_order_acquire), symbol) : nullptr;
  if (result == nullptr) {
    const char* const reason = ::dlerror();
    fatalError(std::string("Cannot load the symbol ") + symbol + " of " + file_ + ": " +
                   (reason != nullptr ? reason : "the loader gives no reason"),
               "Tessaly/LateLibrary", __LINE__);
  }
  return result;
}

}  // namespace Tessaly::inline v1::detail
