// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/FramePool.hpp"

#include <pthread.h>

#include <memory>
#include <new>

#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/ThreadKey.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1::detail {

__thread ThreadState threadState [[gnu::tls_model("initial-exec")]] = {};

namespace {

constexpr std::uint32_t framesPerThreadAndClass = 64;
constexpr std::uint32_t framesPerTransfer = framesPerThreadAndClass / 2;
constexpr std::uint32_t framesInCommonPerClass = 1024;

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
  ++list.room;
  return frame;
}

void pushFrame(ThreadState::FrameList& list, void* frame) {
  nextOf(frame) = list.first;
  list.first = frame;
  --list.room;
}

/// Moves `count` frames from the thread's list to the common list. Frees the frames that do not fit there.
void returnFrames(std::size_t index, std::uint32_t count) {
  auto& list = threadState.frames[index];
  auto& common = commonLists[index];
  {
    UnfairLock::Guard guard(common.lock);
    for (; count > 0 && common.count < framesInCommonPerClass; --count) {
      void* frame = popFrame(list);
      nextOf(frame) = common.first;
      common.first = frame;
      ++common.count;
    }
  }
  for (; count > 0; --count) ::operator delete(popFrame(list), classBytes(index));
}

bool keepsFrames() { return threadState.frames[0].room > 0 || threadState.frames[0].first != nullptr; }

void returnAllFrames(void*) {
  for (std::size_t index = 0; index < frameClassCount; ++index) {
    auto& list = threadState.frames[index];
    returnFrames(index, framesPerThreadAndClass - list.room);
    list.room = 0;
  }
}

/// Called in the child of a fork. A thread that exists only in the parent may have held the lock of a half-changed
/// list.
void forgetCommonLists() {
  for (auto& list : commonLists) std::construct_at(&list);
}

/// Lets the thread keep frames and return them when it ends. The key's value only has to be non-null.
void keepFrames() {
  callInForkedChildren<&forgetCommonLists>();
  static constinit pthread_key_t key{};
  static constexpr auto makeKey = [] {
    key = makeThreadKey(&returnAllFrames);
    return &key;
  };
  ::pthread_setspecific(madeOnce<makeKey>(), &threadState);
  for (auto& list : threadState.frames) list.room = framesPerThreadAndClass;
}

}  // namespace

void* allocateFrameSlowly(std::size_t size) {
  if (poolsFrames) {
    const std::size_t index = (size - 1) / frameClassSize;
    if (index < frameClassCount) {
      if (!keepsFrames()) keepFrames();
      auto& common = commonLists[index];
      auto& list = threadState.frames[index];
      UnfairLock::Guard guard(common.lock);
      for (std::uint32_t taken = 0; common.first != nullptr && taken < framesPerTransfer; ++taken) {
        void* frame = common.first;
        common.first = nextOf(frame);
        --common.count;
        pushFrame(list, frame);
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
      if (!keepsFrames()) keepFrames();
      if (list.room == 0) returnFrames(index, framesPerTransfer);
      pushFrame(list, frame);
      return;
    }
  }
  ::operator delete(frame);
}

}  // namespace Tessaly::inline v1::detail
