// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// A shared library of the system that the process loads when it first calls one of the library's functions. A program
/// that never does so starts faster. A loaded library stays loaded until the process ends.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT LateLibrary {
 public:
  /// `file` is the name that the loader searches for, such as "libarchive.so.13".
  constexpr explicit LateLibrary(const char* file) noexcept : file_(file) {}

  /// Loads the library, unless it is loaded already. Returns false if this system lacks the library. Then the next call
  /// tries again.
  ///
  /// Cost: the first call takes up to 1 ms.
  [[nodiscard]] bool isLoaded() const noexcept;

  /// The address of a function or of an object. Stops the process if this system lacks the library or the symbol.
  [[nodiscard]] void* address(const char* symbol) const noexcept;

 private:
  const char* file_;
  mutable std::atomic<void*> handle_ = nullptr;
};

/// A function of a late library. It is called like the function itself. The first call searches for the address.
///
/// Thread contract: that of the function.
template <typename Function>
class LateFunction {
 public:
  constexpr LateFunction(const LateLibrary& library, const char* name) noexcept : library_(library), name_(name) {}

  operator Function*() const noexcept {
    // A thread that reads the address must also see the memory of the library that another thread has loaded.
    void* address = address_.load(std::memory_order_acquire);
    if (address == nullptr) {
      address = library_.address(name_);
      address_.store(address, std::memory_order_release);
    }
    return reinterpret_cast<Function*>(address);
  }

 private:
  const LateLibrary& library_;
  const char* name_;
  mutable std::atomic<void*> address_ = nullptr;
};

}  // namespace Tessaly::inline v1::detail

/// Defines a late function under the name that the header of its library declares. Inside our namespace that name then
/// means the late function.
#define TESSALY_LATE_FUNCTION(library, name) \
  inline constinit const auto name = ::Tessaly::detail::LateFunction<decltype(::name)>(library, #name)
