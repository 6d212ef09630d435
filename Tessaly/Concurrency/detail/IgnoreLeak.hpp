// SPDX-License-Identifier: MIT
#pragma once

/// A function of the leak checker. Null in programs without it.
extern "C" [[gnu::weak]] void __lsan_ignore_object(const void* object);

namespace Tessaly::inline v1::detail {

/// Tells the leak checker that an object on the heap, and everything that it holds, is leaked on purpose.
inline void ignoreLeak(const void* object) noexcept {
  if (__lsan_ignore_object != nullptr) __lsan_ignore_object(object);
}

}  // namespace Tessaly::inline v1::detail
