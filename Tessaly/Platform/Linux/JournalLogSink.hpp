// SPDX-License-Identifier: MIT
#pragma once

#include <sys/uio.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/JournalStatus.hpp"
#include "Tessaly/Core/Logging/LogRing.hpp"

namespace Tessaly::inline v1 {

/// Passes the records of a ring on to the system's journal, on one thread of its own that is started when there first
/// is a journal socket and a record.
///
/// The thread sends whatever the ring holds, then stays awake for 50 ms, looking every 10, so that a burst of records
/// wakes it once. When the journal goes away, the records wait in the ring; what is evicted meanwhile is counted, and
/// told to the journal when it is back. Signposts are not sent.
///
/// Thread contract: thread-safe. Never destroyed: its thread has no end.
///
///     static auto& journal = *new JournalLogSink(store.ring());
///     store.append(record);
///     journal.write(record);
class TESSALY_EXPORT JournalLogSink {
 public:
  struct Options {
    std::string socketPath = "/run/systemd/journal/socket";
    /// Hands one entry over; 0, or a negative system error number.
    int (*send)(const iovec* fields, int count) noexcept = &sendToSystemJournal;
    std::chrono::nanoseconds retryInterval = std::chrono::seconds(1);
    /// How often the thread looks for more records before it lies down, and how long it waits in between.
    int pollsBeforeParking = 5;
    std::chrono::nanoseconds pollInterval = std::chrono::milliseconds(10);
    /// A send that takes longer counts as `JournalState::notAnswering`.
    std::chrono::nanoseconds longestSend = std::chrono::seconds(2);
  };

  explicit JournalLogSink(const LogRing& ring) : JournalLogSink(ring, Options()) {}
  JournalLogSink(const LogRing& ring, Options options);
  JournalLogSink(const JournalLogSink&) = delete;
  JournalLogSink& operator=(const JournalLogSink&) = delete;

  /// Has the thread send a record that stands in the ring already. A load and a branch while the thread is awake.
  void write(const LogRecord& record) noexcept {
    if (phase_.load(std::memory_order_relaxed) != Phase::awake) wakeThread(record.time);
  }

  /// Waits until everything appended so far was sent or could not be, at most `limit`. Returns at once where nothing is
  /// sent.
  void flush(std::chrono::nanoseconds limit) noexcept;

  [[nodiscard]] JournalStatus status() const noexcept;

 private:
  enum class Phase : std::uint8_t { notStarted, awake, parked };
  enum class Outcome : std::uint8_t { nothingToSend, sent, failed };
  enum class Answer : std::uint8_t { taken, unwanted, failed };

  static int sendToSystemJournal(const iovec* fields, int count) noexcept;

  [[nodiscard]] bool isSocketThere() const noexcept;
  void wakeThread(LogTime now) noexcept;
  void run() noexcept;
  Outcome sendPending(LogCursor& cursor, LogChunk& chunk) noexcept;
  [[nodiscard]] bool sendRecord(const StoredLogRecord& record) noexcept;
  [[nodiscard]] bool sendLossNotice() noexcept;
  [[nodiscard]] Answer send(const iovec* fields, int count) noexcept;
  void park(const LogCursor& cursor, std::uint32_t signal) noexcept;

  const LogRing& ring_;
  const Options options_;

  std::atomic<Phase> phase_{Phase::notStarted};
  std::atomic<std::int64_t> lastLook_{0};      // In nanoseconds of the wall clock.
  std::atomic<std::uint32_t> signal_{0};       // What the thread sleeps on.
  std::atomic<std::uint32_t> flushTicket_{0};  // The newest one asked for,
  std::atomic<std::uint32_t> flushed_{0};      // and the newest one served.

  std::atomic<JournalState> state_{JournalState::notTried};
  std::atomic<int> error_{0};
  std::atomic<std::uint64_t> sentRecords_{0};
  std::atomic<std::uint64_t> lostRecords_{0};
  std::atomic<std::int64_t> sendingSince_{0};  // In nanoseconds of the steady clock; 0 between sends.

  std::uint64_t untoldLosses_ = 0;  // The thread's own.
};

}  // namespace Tessaly::inline v1
