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

/// A sink that sends the records of a ring to the system's journal. The sink has its own thread. The thread starts when
/// `write` first finds the journal's socket. Until then, `write` checks for the socket at most once a second.
///
/// The thread sends all records of the ring. Then it checks for new records every 10 ms for 50 ms, so that a burst of
/// records wakes the thread once. While there is no journal, the records stay in the ring. The thread counts the
/// records that the ring evicts before they are sent, and later reports their number to the journal. Signposts are not
/// sent.
///
/// Thread contract: thread-safe. The caller must never destroy the sink or its ring, because the sink's thread uses
/// both and never ends.
///
///     static auto& journal = *new JournalLogSink(store.ring());
///     store.append(record);
///     journal.write(record);
class TESSALY_EXPORT JournalLogSink {
 public:
  /// The parts that tests replace.
  struct Options {
    std::string socketPath = "/run/systemd/journal/socket";
    /// Sends one entry. Returns 0, or a negative system error number.
    int (*send)(const iovec* fields, int count) noexcept = &sendToSystemJournal;
    std::chrono::nanoseconds retryInterval = std::chrono::seconds(1);
    /// `pollsBeforeParking` is the number of checks for new records before the thread sleeps. `pollInterval` is the
    /// pause between two checks.
    int pollsBeforeParking = 5;
    std::chrono::nanoseconds pollInterval = std::chrono::milliseconds(10);
    /// A send that takes longer than this counts as `JournalState::notAnswering`.
    std::chrono::nanoseconds longestSend = std::chrono::seconds(2);
  };

  explicit JournalLogSink(const LogRing& ring) : JournalLogSink(ring, Options()) {}
  JournalLogSink(const LogRing& ring, Options options);
  JournalLogSink(const JournalLogSink&) = delete;
  JournalLogSink& operator=(const JournalLogSink&) = delete;
  /// Stops the process if the thread was started, because the thread would use the destroyed sink.
  ~JournalLogSink();

  /// Wakes or starts the thread, which sends the records of the ring. The caller must already have appended `record` to
  /// the ring. Costs a load and a branch while the thread is awake.
  void write(const LogRecord& record) noexcept {
    if (phase_.load(std::memory_order_relaxed) != Phase::awake) wakeThread(record.time);
  }

  /// Waits until the thread has sent or discarded every record that was appended before the call. Returns earlier if a
  /// send fails and must be repeated later. Waits at most `limit`. Returns at once if the thread was never started, and
  /// in the child of a fork.
  void flush(std::chrono::nanoseconds limit) noexcept;

  [[nodiscard]] JournalStatus status() const noexcept;
  [[nodiscard]] bool isSocketThere() const noexcept;

 private:
  /// The state of the thread. An awake thread checks for records by itself. A parked thread sleeps until `write` or
  /// `flush` wakes it.
  enum class Phase : std::uint8_t { notStarted, awake, parked };
  enum class Outcome : std::uint8_t { nothingToSend, sent, failed };
  /// The journal's answer to one entry. An unwanted entry is never sent again. A failed entry is sent again later.
  enum class Answer : std::uint8_t { taken, unwanted, failed };

  static int sendToSystemJournal(const iovec* fields, int count) noexcept;

  void wakeThread(LogTime now) noexcept;
  void run() noexcept;
  Outcome sendPending(LogCursor& cursor, LogChunk& chunk) noexcept;
  [[nodiscard]] bool sendRecord(const StoredLogRecord& record) noexcept;
  [[nodiscard]] bool sendLossNotice() noexcept;
  [[nodiscard]] Answer send(const iovec* fields, int count) noexcept;
  void noteRefusal(int error) noexcept;
  void park(const LogCursor& cursor, std::uint32_t signal) noexcept;

  const LogRing& ring_;
  const Options options_;

  std::atomic<Phase> phase_{Phase::notStarted};
  std::atomic<std::int64_t> lastLook_{0};      // The time of the last search for the socket: wall clock, nanoseconds.
  std::atomic<std::uint32_t> signal_{0};       // The futex on which the thread sleeps.
  std::atomic<std::uint32_t> flushTicket_{0};  // The number of the newest requested flush.
  std::atomic<std::uint32_t> flushed_{0};      // The number of the newest completed flush.

  std::atomic<JournalState> state_{JournalState::notTried};
  std::atomic<int> error_{0};
  std::atomic<std::uint64_t> sentRecords_{0};
  std::atomic<std::uint64_t> lostRecords_{0};
  std::atomic<std::int64_t> sendingSince_{0};  // The start of a send in nanoseconds of the steady clock, or 0.

  /// The number of lost records that have not been reported to the journal yet. Only the sink's own thread uses the
  /// count.
  std::uint64_t untoldLosses_ = 0;
};

}  // namespace Tessaly::inline v1
