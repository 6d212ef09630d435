// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/detail/Sanitizers.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

// A pool for the memory of coroutine frames, task records and other small objects. Every thread has a bounded free list
// for each size class. Through a bounded common list for each size class, frames that one thread frees return to the
// threads that allocate frames. The pool is off under the sanitizers, so that they see each frame as a separate
// allocation.

namespace Tessaly::inline v1::detail {

TESSALY_EXPORT void* allocateFrameSlowly(std::size_t size);
TESSALY_EXPORT void freeFrameSlowly(void* frame, std::size_t size) noexcept;

inline constexpr bool poolsFrames = TESSALY_IS_SANITIZED == 0;

[[gnu::always_inline]] inline void* allocateFrame(std::size_t size) {
  const std::size_t index = (size - 1) / frameClassSize;
  if (index < frameClassCount) [[likely]] {
    auto& list = threadState.frames[index];
    if (void* frame = list.first) [[likely]] {
      list.first = *static_cast<void**>(frame);
      ++list.room;
      return frame;
    }
  }
  return allocateFrameSlowly(size);
}

[[gnu::always_inline]] inline void freeFrame(void* frame, std::size_t size) noexcept {
  if (poolsFrames) {
    const std::size_t index = (size - 1) / frameClassSize;
    if (index < frameClassCount) [[likely]] {
      auto& list = threadState.frames[index];
      if (list.room > 0) [[likely]] {
        *static_cast<void**>(frame) = list.first;
        list.first = frame;
        --list.room;
        return;
      }
    }
  }
  freeFrameSlowly(frame, size);
}

}  // namespace Tessaly::inline v1::detail
