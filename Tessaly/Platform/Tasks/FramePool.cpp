// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/FramePool.hpp"

#include <pthread.h>

#include <new>

#include "Tessaly/Platform/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1::detail {

__thread ThreadState threadState [[gnu::tls_model("initial-exec")]] = {};

namespace {

constexpr std::uint32_t framesInCommonPerClass = 1024;
constexpr std::uint32_t framesPerTransfer = framesPerThreadAndClass / 2;

struct CommonList {
  UnfairLock lock;
  void* first = nullptr;
  std::uint32_t count = 0;
};
constinit std::array<CommonList, frameClassCount> commonLists{};

constexpr std::size_t classBytes(std::size_t index) { return (index + 1) * frameClassSize; }

void*& nextOf(void* frame) { return *static_cast<void**>(frame); }

void* popFrame(ThreadState::FrameList& list) {
  void* frame = list.first;
  list.first = nextOf(frame);
  --list.count;
  return frame;
}

/// Moves frames from the thread's list to the common one until `keep` are left; what does not fit there is freed.
void returnFrames(std::size_t index, std::uint32_t keep) {
  auto& list = threadState.frames[index];
  auto& common = commonLists[index];
  {
    UnfairLock::Guard guard(common.lock);
    while (list.count > keep && common.count < framesInCommonPerClass) {
      void* frame = popFrame(list);
      nextOf(frame) = common.first;
      common.first = frame;
      ++common.count;
    }
  }
  while (list.count > keep) ::operator delete(popFrame(list), classBytes(index));
}

void returnAllFrames(void*) {
  threadState.keepsFrames = false;
  for (std::size_t index = 0; index < frameClassCount; ++index) {
    if (threadState.frames[index].count > 0) returnFrames(index, 0);
  }
}

/// Returns the thread's frames when it ends. The key's value only has to be non-null.
void returnFramesAtThreadEnd() {
  static const pthread_key_t key = [] {
    pthread_key_t made{};
    ::pthread_key_create(&made, &returnAllFrames);
    return made;
  }();
  ::pthread_setspecific(key, &threadState);
  threadState.keepsFrames = true;
}

}  // namespace

void* allocateFrameSlowly(std::size_t size) {
  if (poolsFrames) {
    const std::size_t index = (size - 1) / frameClassSize;
    if (index < frameClassCount) {
      auto& common = commonLists[index];
      auto& list = threadState.frames[index];
      UnfairLock::Guard guard(common.lock);
      while (common.first != nullptr && list.count < framesPerTransfer) {
        void* frame = common.first;
        common.first = nextOf(frame);
        --common.count;
        nextOf(frame) = list.first;
        list.first = frame;
        ++list.count;
      }
      if (list.first != nullptr) return popFrame(list);
      size = classBytes(index);
    }
  }
  return ::operator new(size);
}

void freeFrameSlowly(void* frame, std::size_t size) noexcept {
  if (poolsFrames) {
    const std::size_t index = (size - 1) / frameClassSize;
    if (index < frameClassCount) {
      auto& list = threadState.frames[index];
      if (!threadState.keepsFrames) returnFramesAtThreadEnd();
      if (list.count == framesPerThreadAndClass) returnFrames(index, framesPerTransfer);
      nextOf(frame) = list.first;
      list.first = frame;
      ++list.count;
      return;
    }
  }
  ::operator delete(frame);
}

}  // namespace Tessaly::inline v1::detail
