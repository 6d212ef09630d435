// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Async.hpp"

#include <memory>
#include <vector>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {

void stopAwaitingTwice() noexcept {
  fatalError("An Async was awaited twice, or after it had been moved from", "Tessaly/Async", __LINE__);
}

struct DeferredFrames {
  std::vector<std::coroutine_handle<>> frames;
};

void deferFrame(std::coroutine_handle<> frame) noexcept {
  if (threadState.deferredFrames == nullptr) threadState.deferredFrames = new DeferredFrames;
  threadState.deferredFrames->frames.push_back(frame);
}

void destroyDeferredFrames() noexcept {
  const std::unique_ptr<DeferredFrames> deferred(threadState.deferredFrames);
  // While this loop runs, the depth stays above 0: frames that are deferred meanwhile join the same list.
  ++threadState.frameDepth;
  while (!deferred->frames.empty()) {
    const std::coroutine_handle<> frame = deferred->frames.back();
    deferred->frames.pop_back();
    frame.destroy();
  }
  --threadState.frameDepth;
  threadState.deferredFrames = nullptr;
}

}  // namespace Tessaly::inline v1::detail
