// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/SystemLogBackend.hpp"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr auto longestLastFlush = std::chrono::seconds(1);

// A function-local static would hang a child that is forked while a thread of the parent makes the backend.
constinit std::atomic<SystemLogBackend*> sharedBackend{nullptr};
constinit std::atomic<std::size_t> capacityOfShared{ProcessLogStore::defaultCapacityInBytes};
/// The bit of `capacityOfShared` that a thread sets before it makes the backend. The capacity is final from then on.
constexpr std::size_t finalBit = ~(std::numeric_limits<std::size_t>::max() >> 1);

}  // namespace

LogSinks::~LogSinks() = default;

SystemLogBackend& SystemLogBackend::shared() noexcept {
  if (auto* backend = sharedBackend.load(std::memory_order_acquire)) [[likely]]
    return *backend;
  return makeShared();
}

SystemLogBackend& SystemLogBackend::makeShared() noexcept {
  // The handler is registered before any thread can lock the store. Two threads may register it twice, which does no
  // harm.
  ::pthread_atfork(nullptr, nullptr, [] {
    if (auto* backend = sharedBackend.load(std::memory_order_relaxed)) backend->store_.ring().resetAfterFork();
  });
  SystemLogBackend* fresh = nullptr;
  try {
    fresh = new SystemLogBackend(capacityOfShared.fetch_or(finalBit, std::memory_order_relaxed) & ~finalBit);
  } catch (const std::bad_alloc&) {
    fatalError("There is no memory for the log store", "Tessaly/SystemLogBackend", __LINE__);
  }
  SystemLogBackend* winner = nullptr;
  if (!sharedBackend.compare_exchange_strong(winner, fresh, std::memory_order_acq_rel)) {
    delete fresh;
    return *winner;
  }
  addFatalErrorHandler(&flushBeforeAbort);
  std::atexit([] { shared().flush(longestLastFlush); });
  return *fresh;
}

bool SystemLogBackend::setStoreCapacity(std::size_t bytes) noexcept {
  std::size_t former = capacityOfShared.load(std::memory_order_relaxed);
  do {
    if ((former & finalBit) != 0) return false;
  } while (!capacityOfShared.compare_exchange_weak(former, std::min(bytes, ~finalBit), std::memory_order_relaxed));
  return true;
}

void SystemLogBackend::flushBeforeAbort() noexcept {
  // If the failing thread itself holds the ring's lock, the sending thread could never take it.
  if (shared().store_.ring().isLockObtainable()) shared().flush(longestLastFlush);
}

}  // namespace Tessaly::inline v1
