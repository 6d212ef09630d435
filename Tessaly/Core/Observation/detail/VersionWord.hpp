// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/ThreadSafety.hpp"

namespace Tessaly::inline v1::detail {

/// One word that holds the version of an observable property, the lock of the property's lists, and a flag for each
/// list that has entries. The version contains two counters. One counts all changes so far. The other counts the
/// running changes that were announced at their beginning. Because one word holds all of this, an announcement without
/// contention needs at most one atomic read-modify-write operation. The same operation takes the lock if a tracking or
/// an observer must be called.
///
/// The beginning of a change is announced only if a tracking waits for the beginning. Otherwise the change is announced
/// only at its end. If a reader of the old value registers before that end, the announcement reaches the reader. If the
/// reader registers later, it finds a different version.
///
/// While a thread holds the lock, no other thread writes the word, so releasing the lock is a plain store. A waiting
/// thread is not woken. It tries again after each of 100 processor pauses, and then every 50 µs. The lock is held while
/// a list changes, which costs at most O(n) for n entries. It is also held during a fence in all threads, which takes
/// about 1 µs. No handler is called under the lock.
///
/// Thread contract: thread-safe.
class TESSALY_CAPABILITY("lock") VersionWord {
 public:
  using Version = std::uint64_t;

  static constexpr unsigned noList = 0;
  static constexpr unsigned before = 2;
  static constexpr unsigned after = 4;
  static constexpr unsigned observers = 8;

  static constexpr Version underWay = 0x10;
  static constexpr Version begun = 0x10'0000;

  /// Whether a change that was announced at its beginning is running at this version.
  [[nodiscard]] static constexpr bool isChanging(Version version) noexcept {
    return (version & (begun - underWay)) != 0;
  }
  /// The version after the beginning of a change.
  [[nodiscard]] static constexpr Version atBeginning(Version version) noexcept { return version + begun + underWay; }
  /// The version after the end of a change. If a change that was announced at its beginning is running, the count of
  /// running changes decreases by 1. Otherwise the count of all changes increases by 1.
  [[nodiscard]] static constexpr Version atEnd(Version version) noexcept {
    return isChanging(version) ? version - underWay : version + begun;
  }

  [[nodiscard]] Version version() const noexcept { return word_.load(std::memory_order_acquire) & ~flags; }

  /// Announces a change if trackings must be called before it: takes the lock, sets `last` to the version before the
  /// change, and returns true.
  [[nodiscard]] bool beginChange(Version& last) noexcept TESSALY_TRY_ACQUIRE(true) TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    // A locked word may lack the flags of its lists.
    while ((word & (isLocked | before)) != 0) [[unlikely]] {
      if ((word & isLocked) != 0) {
        word = waitWhileLocked();
        continue;
      }
      last = word & ~flags;
      if (replace(word, atBeginning(last) | isLocked)) return true;
    }
    return false;
  }
  /// Ends a change, and sets `last` to the version before its end. If a tracking or an observer must be called, takes
  /// the lock and returns true.
  [[nodiscard]] bool endChange(Version& last) noexcept TESSALY_TRY_ACQUIRE(true) TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    for (;;) {
      if ((word & isLocked) != 0) [[unlikely]] {
        word = waitWhileLocked();
        continue;
      }
      last = word & ~flags;
      const bool locks = (word & (isChanging(last) ? after | observers : before | after | observers)) != 0;
      if (replace(word, atEnd(last) | (locks ? isLocked : word & flags))) return locks;
    }
  }

  /// Takes the lock and returns the version.
  [[nodiscard]] Version lock() noexcept TESSALY_ACQUIRE() {
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    while ((word & isLocked) != 0 ||
           !word_.compare_exchange_weak(word, word | isLocked, std::memory_order_acquire, std::memory_order_relaxed)) {
      if ((word & isLocked) != 0) word = waitWhileLocked();
    }
    return word & ~flags;
  }
  /// Releases the lock, and stores the version and the flags of the lists with entries.
  void unlock(Version version, unsigned lists) noexcept TESSALY_RELEASE() {
    word_.store(version | lists, std::memory_order_release);
  }

 private:
  static constexpr std::uint64_t isLocked = 1;
  static constexpr std::uint64_t flags = underWay - 1;

  [[nodiscard]] bool replace(std::uint64_t& word, std::uint64_t wanted) noexcept {
    return word_.compare_exchange_weak(word, wanted, std::memory_order_acq_rel, std::memory_order_relaxed);
  }
  TESSALY_EXPORT std::uint64_t waitWhileLocked() const noexcept;

  std::atomic<std::uint64_t> word_{0};
};

}  // namespace Tessaly::inline v1::detail
