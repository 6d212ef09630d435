// SPDX-License-Identifier: MIT
#pragma once

#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

namespace Tessaly::inline v1 {

/// The lock of the current journal file, held for the extent of a block.
class JournaledUserDefaults::JournalLock {
 public:
  JournalLock(JournaledUserDefaults& store, detail::LockMode mode, detail::Patience patience)
      TESSALY_REQUIRES(store.lock_)
      : store_(store), error_(store.obtainJournal(mode, patience)) {}
  // Whoever makes one holds the store's lock until its end.
  ~JournalLock() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    if (store_.journal_.file.isOpen()) ::flock(store_.journal_.file.get(), LOCK_UN);
  }
  JournalLock(const JournalLock&) = delete;
  JournalLock& operator=(const JournalLock&) = delete;

  /// Why it is not held; 0 if it is.
  [[nodiscard]] int error() const noexcept { return error_; }

 private:
  JournaledUserDefaults& store_;
  const int error_;
};

template <typename Body>
int JournaledUserDefaults::withExclusiveJournal(Body body) {
  const auto end = std::chrono::steady_clock::now() + detail::lockPatience;
  for (;;) {
    {
      const UnfairLock::Guard guard(lock_);
      const JournalLock lock(*this, detail::LockMode::exclusive, detail::Patience::none);
      if (lock.error() == 0) return body();
      if (lock.error() != EWOULDBLOCK) return lock.error();
    }
    if (std::chrono::steady_clock::now() > end) return ETIMEDOUT;
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
}

}  // namespace Tessaly::inline v1
