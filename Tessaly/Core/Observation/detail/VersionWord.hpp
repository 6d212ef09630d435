// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/ThreadSafety.hpp"

namespace Tessaly::inline v1::detail {

/// In one word the version of an observable property, which counts the changes that have begun and those that are under
/// way; the lock of the property's lists of registrations; and which of these lists have entries. So an announcement is
/// one atomic operation, which also takes the lock if there is somebody to be called.
///
/// While the lock is held nobody else writes the word, so giving it back is a plain store. Who waits for it is not
/// woken but looks again, at first at once, then every 50 us. It is held for a few instructions, and nothing is called
/// meanwhile.
///
/// Thread contract: thread-safe.
class TESSALY_CAPABILITY("lock") VersionWord {
 public:
  using Version = std::uint64_t;

  static constexpr unsigned noList = 0;
  static constexpr unsigned before = 2;
  static constexpr unsigned after = 4;
  static constexpr unsigned followers = 8;

  static constexpr Version underWay = 0x10;
  static constexpr Version begun = 0x10'0000;

  /// Whether a change was under way.
  [[nodiscard]] static constexpr bool isChanging(Version version) noexcept {
    return (version & (begun - underWay)) != 0;
  }
  /// The version once a change has begun.
  [[nodiscard]] static constexpr Version atBeginning(Version version) noexcept { return version + begun + underWay; }
  /// The version once a change is done. One that was not announced at its beginning, because nobody had tracked the
  /// property then, counts from here.
  [[nodiscard]] static constexpr Version atEnd(Version version) noexcept {
    return isChanging(version) ? version - underWay : version + begun;
  }

  [[nodiscard]] Version version() const noexcept { return word_.load(std::memory_order_acquire) & ~flags; }

  /// Begins a change and says at which version. True, and locked, if some wait to be called before it.
  [[nodiscard]] bool beginChange(Version& last) noexcept TESSALY_TRY_ACQUIRE(true) {
    return advance(last, &atBeginning, [](Version) { return before; });
  }
  /// Ends a change and says at which version. True, and locked, if there is somebody to be called.
  [[nodiscard]] bool endChange(Version& last) noexcept TESSALY_TRY_ACQUIRE(true) {
    return advance(last, &atEnd, [](Version version) {
      return isChanging(version) ? after | followers : before | after | followers;
    });
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
  /// Gives the lock back, with the version, and which lists have entries now.
  void unlock(Version version, unsigned lists) noexcept TESSALY_RELEASE() {
    word_.store(version | lists, std::memory_order_release);
  }

 private:
  static constexpr std::uint64_t isLocked = 1;
  static constexpr std::uint64_t flags = underWay - 1;

  template <typename Next, typename Lists>
  bool advance(Version& last, Next next, Lists lists) noexcept TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    for (;;) {
      if ((word & isLocked) != 0) [[unlikely]] {
        word = waitWhileLocked();
        continue;
      }
      last = word & ~flags;
      const bool locks = (word & lists(last)) != 0;
      const std::uint64_t wanted = next(last) | (locks ? isLocked : word & flags);
      if (word_.compare_exchange_weak(word, wanted, std::memory_order_acq_rel, std::memory_order_relaxed)) return locks;
    }
  }
  TESSALY_EXPORT std::uint64_t waitWhileLocked() const noexcept;

  std::atomic<std::uint64_t> word_{0};
};

}  // namespace Tessaly::inline v1::detail
