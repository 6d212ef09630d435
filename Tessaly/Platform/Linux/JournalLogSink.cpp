// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/JournalLogSink.hpp"

#define SD_JOURNAL_SUPPRESS_LOCATION
#include <fmt/format.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <new>
#include <string_view>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "Tessaly/Platform/Linux/SystemdLibrary.hpp"

namespace Tessaly::inline v1 {
namespace detail {
TESSALY_LATE_FUNCTION(systemdLibrary, sd_journal_sendv);
}

namespace {

std::int64_t steadyNow() noexcept { return std::chrono::steady_clock::now().time_since_epoch().count(); }

int priority(OSLogType type) noexcept {
  switch (type) {
    case OSLogType::debug:
      return 7;
    case OSLogType::info:
      return 6;
    case OSLogType::default_:
      return 5;
    case OSLogType::error:
      return 3;
    case OSLogType::fault:
      return 2;
  }
  return 5;
}

// The fields of one journal entry, in one buffer.
class Fields {
 public:
  template <typename Value>
  void add(std::string_view name, const Value& value) {
    fmt::format_to(fmt::appender(text_), "{}={}", name, value);
    ends_[count_++] = text_.size();
  }

  // Valid until the next `add`.
  const iovec* vectors() noexcept {
    std::size_t begin = 0;
    for (std::size_t i = 0; i < count_; ++i) {
      vectors_[i] = {text_.data() + begin, ends_[i] - begin};
      begin = ends_[i];
    }
    return vectors_.data();
  }
  [[nodiscard]] int count() const noexcept { return static_cast<int>(count_); }

 private:
  fmt::basic_memory_buffer<char, 1024> text_;
  std::array<std::size_t, 12> ends_{};
  std::array<iovec, 12> vectors_{};
  std::size_t count_ = 0;
};

}  // namespace

int JournalLogSink::sendToSystemJournal(const iovec* fields, int count) noexcept {
  return detail::systemdLibrary.isLoaded() ? detail::sd_journal_sendv(fields, count) : -ELIBACC;
}

JournalLogSink::JournalLogSink(const LogRing& ring, Options options) : ring_(ring), options_(std::move(options)) {}

JournalLogSink::~JournalLogSink() {
  if (phase_.load(std::memory_order_acquire) == Phase::notStarted) return;
  fatalError("A journal sink with a thread must not be destroyed", "Tessaly/JournalLogSink", __LINE__);
}

bool JournalLogSink::isSocketThere() const noexcept { return ::access(options_.socketPath.c_str(), F_OK) == 0; }

void JournalLogSink::wakeThread(LogTime now) noexcept {
  if (detail::isForkedChild()) return;
  if (phase_.load(std::memory_order_relaxed) == Phase::parked) {
    if (phase_.exchange(Phase::awake, std::memory_order_acq_rel) == Phase::parked) {
      signal_.fetch_add(1, std::memory_order_release);
      detail::futexWake(signal_, 1);
    }
    return;
  }
  // The comparison is unsigned, so that the search goes on after the clock was set back.
  const std::int64_t time = now.time_since_epoch().count();
  std::int64_t last = lastLook_.load(std::memory_order_relaxed);
  if (last != 0 &&
      static_cast<std::uint64_t>(time - last) < static_cast<std::uint64_t>(options_.retryInterval.count())) {
    return;
  }
  if (!lastLook_.compare_exchange_strong(last, time, std::memory_order_relaxed)) return;
  if (!isSocketThere()) {
    state_.store(JournalState::socketMissing, std::memory_order_relaxed);
    return;
  }
  auto expected = Phase::notStarted;
  if (!phase_.compare_exchange_strong(expected, Phase::awake, std::memory_order_acq_rel)) return;
  state_.store(JournalState::sending, std::memory_order_relaxed);
  detail::startLibraryThread("tessaly-journal", [this] { run(); });
}

void JournalLogSink::run() noexcept {
  LogChunk chunk;
  LogCursor cursor;
  int idlePolls = 0;
  for (;;) {
    phase_.store(Phase::awake, std::memory_order_relaxed);
    const std::uint32_t signal = signal_.load(std::memory_order_acquire);
    const std::uint32_t ticket = flushTicket_.load(std::memory_order_acquire);
    const Outcome outcome = sendPending(cursor, chunk);
    if (flushed_.exchange(ticket, std::memory_order_release) != ticket) detail::futexWake(flushed_, INT_MAX);
    if (outcome == Outcome::failed) {
      detail::futexWaitFor(signal_, signal, options_.retryInterval.count());
      continue;
    }
    idlePolls = outcome == Outcome::sent ? 0 : idlePolls + 1;
    if (idlePolls < options_.pollsBeforeParking) {
      detail::futexWaitFor(signal_, signal, options_.pollInterval.count());
    } else {
      park(cursor, signal);
      idlePolls = 0;
    }
  }
}

void JournalLogSink::park(const LogCursor& cursor, std::uint32_t signal) noexcept {
  phase_.store(Phase::parked, std::memory_order_relaxed);
  // `end` takes the ring's lock. A record that it misses is appended later, so the record's writer sees the new phase.
  if (ring_.end().position == cursor.position) detail::futexWait(signal_, signal);
}

JournalLogSink::Outcome JournalLogSink::sendPending(LogCursor& cursor, LogChunk& chunk) noexcept {
  // The loop ends at the present end of the ring, so that a flush ends while other threads write.
  const LogCursor end = ring_.end();
  auto outcome = Outcome::nothingToSend;
  for (LogCursor next = cursor; ring_.read(next, end, chunk); cursor = next) {
    if (!isSocketThere()) {
      state_.store(JournalState::socketMissing, std::memory_order_relaxed);
      return Outcome::failed;
    }
    if (const auto lost = chunk.lostRecords()) {
      lostRecords_.fetch_add(lost, std::memory_order_relaxed);
      untoldLosses_ += lost;
      cursor = chunk.cursor();
    }
    if (untoldLosses_ > 0 && !sendLossNotice()) return Outcome::failed;
    for (;;) {
      cursor = chunk.cursor();
      const auto record = chunk.next();
      if (!record) break;
      if (!record->signpost && !sendRecord(*record)) return Outcome::failed;
    }
    outcome = Outcome::sent;
  }
  return outcome;
}

bool JournalLogSink::sendRecord(const StoredLogRecord& record) noexcept {
  try {
    Fields fields;
    fields.add("MESSAGE", record.message);
    fields.add("PRIORITY", priority(record.type));
    fields.add("SYSLOG_IDENTIFIER", program_invocation_short_name);
    fields.add("TESSALY_SUBSYSTEM", record.log.subsystem());
    fields.add("TESSALY_CATEGORY", record.log.category());
    fields.add("TESSALY_TIME", record.time.time_since_epoch().count());
    fields.add("TID", record.threadIdentifier);
    if (!record.file.empty()) {
      fields.add("CODE_FILE", record.file);
      fields.add("CODE_LINE", record.line);
      fields.add("CODE_FUNC", record.function);
    }
    const Answer answer = send(fields.vectors(), fields.count());
    if (answer == Answer::taken) sentRecords_.fetch_add(1, std::memory_order_relaxed);
    if (answer == Answer::unwanted) lostRecords_.fetch_add(1, std::memory_order_relaxed);
    return answer != Answer::failed;
  } catch (const std::bad_alloc&) {
    noteRefusal(ENOMEM);
    return false;
  }
}

bool JournalLogSink::sendLossNotice() noexcept {
  try {
    Fields fields;
    fields.add("MESSAGE", fmt::format("{} log records were evicted before the journal could take them", untoldLosses_));
    fields.add("PRIORITY", 4);
    fields.add("SYSLOG_IDENTIFIER", program_invocation_short_name);
    fields.add("TESSALY_SUBSYSTEM", "Tessaly");
    fields.add("TESSALY_CATEGORY", "JournalLogSink");
    if (send(fields.vectors(), fields.count()) == Answer::failed) return false;
  } catch (const std::bad_alloc&) {
    noteRefusal(ENOMEM);
    return false;
  }
  untoldLosses_ = 0;
  return true;
}

JournalLogSink::Answer JournalLogSink::send(const iovec* fields, int count) noexcept {
  sendingSince_.store(steadyNow(), std::memory_order_relaxed);
  const int status = options_.send(fields, count);
  sendingSince_.store(0, std::memory_order_relaxed);
  // The journal refuses only this entry. The next entries must not wait for it.
  if (status == -EINVAL || status == -E2BIG || status == -EMSGSIZE) return Answer::unwanted;
  if (status < 0) {
    noteRefusal(-status);
    return Answer::failed;
  }
  // The call also reports success if there is no journal.
  if (!isSocketThere()) {
    state_.store(JournalState::socketMissing, std::memory_order_relaxed);
    return Answer::failed;
  }
  error_.store(0, std::memory_order_relaxed);
  state_.store(JournalState::sending, std::memory_order_relaxed);
  return Answer::taken;
}

void JournalLogSink::noteRefusal(int error) noexcept {
  error_.store(error, std::memory_order_relaxed);
  state_.store(JournalState::refused, std::memory_order_relaxed);
}

void JournalLogSink::flush(std::chrono::nanoseconds limit) noexcept {
  if (detail::isForkedChild() || phase_.load(std::memory_order_acquire) == Phase::notStarted) return;
  constexpr std::int64_t never = std::chrono::nanoseconds::max().count();
  const std::int64_t start = steadyNow();
  const std::int64_t deadline = limit.count() > never - start ? never : start + limit.count();
  const std::uint32_t ticket = flushTicket_.fetch_add(1, std::memory_order_acq_rel) + 1;
  signal_.fetch_add(1, std::memory_order_release);
  detail::futexWake(signal_, 1);
  for (;;) {
    const std::uint32_t flushed = flushed_.load(std::memory_order_acquire);
    const std::int64_t left = deadline - steadyNow();
    if (static_cast<std::int32_t>(flushed - ticket) >= 0 || left <= 0) return;
    detail::futexWaitFor(flushed_, flushed, left);
  }
}

JournalStatus JournalLogSink::status() const noexcept {
  JournalStatus status{.state = state_.load(std::memory_order_relaxed),
                       .error = error_.load(std::memory_order_relaxed),
                       .sentRecords = sentRecords_.load(std::memory_order_relaxed),
                       .lostRecords = lostRecords_.load(std::memory_order_relaxed)};
  const std::int64_t since = sendingSince_.load(std::memory_order_relaxed);
  if (since != 0 && steadyNow() - since > options_.longestSend.count()) {
    status.state = JournalState::notAnswering;
  }
  if (detail::isForkedChild()) status.state = JournalState::forkedChild;
  if (status.state != JournalState::refused) status.error = 0;
  return status;
}

}  // namespace Tessaly::inline v1
