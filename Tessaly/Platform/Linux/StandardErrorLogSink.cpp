// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/StandardErrorLogSink.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <new>
#include <string>

#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Core/Base/detail/Escaped.hpp"

namespace Tessaly::inline v1 {
namespace {

std::string_view typeText(OSLogType type) noexcept {
  switch (type) {
    case OSLogType::default_:
      return "default";
    case OSLogType::info:
      return "info";
    case OSLogType::debug:
      return "debug";
    case OSLogType::error:
      return "error";
    case OSLogType::fault:
      return "fault";
  }
  return "default";
}

std::string line(const LogRecord& record) {
  using namespace std::chrono;
  const auto seconds = floor<std::chrono::seconds>(record.time);
  const auto day = floor<days>(seconds);
  const year_month_day date(day);
  const hh_mm_ss time(seconds - day);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}Z {} [{}:{}] {}\n", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), time.hours().count(),
                     time.minutes().count(), time.seconds().count(),
                     duration_cast<microseconds>(record.time - seconds).count(), typeText(record.type),
                     record.log.subsystem(), record.log.category(), detail::terminalText(record.composedMessage()));
}

// Prevents a write to a pipe without a reader from ending the process. Does not change the signals of other threads.
class PipeSignalHold {
 public:
  PipeSignalHold() noexcept {
    sigset_t pending;
    ::sigemptyset(&pending);
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::sigemptyset(&pipeSignal_);
    ::sigaddset(&pipeSignal_, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipeSignal_, &previous_);
  }
  ~PipeSignalHold() {
    const timespec atOnce{};
    if (!wasPending_) {
      while (::sigtimedwait(&pipeSignal_, nullptr, &atOnce) == -1 && errno == EINTR) {
      }
    }
    ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }
  PipeSignalHold(const PipeSignalHold&) = delete;
  PipeSignalHold& operator=(const PipeSignalHold&) = delete;

 private:
  sigset_t pipeSignal_;
  sigset_t previous_;
  bool wasPending_ = false;
};

}  // namespace

void StandardErrorLogSink::set(LogSwitch state) noexcept {
  isOn_.store(false, std::memory_order_relaxed);
  if (state == LogSwitch::off) return;
  const int kept = descriptor_.load(std::memory_order_acquire);
  if (kept >= 0) {
    if (::dup3(STDERR_FILENO, kept, O_CLOEXEC) == -1) return;
  } else {
    const int fresh = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (fresh == -1) return;
    int expected = -1;
    if (!descriptor_.compare_exchange_strong(expected, fresh, std::memory_order_acq_rel)) ::close(fresh);
  }
  isOn_.store(true, std::memory_order_release);
}

void StandardErrorLogSink::write(const LogRecord& record) noexcept {
  const int descriptor = descriptor_.load(std::memory_order_acquire);
  if (descriptor < 0) return;
  try {
    const std::string text = line(record);
    const PipeSignalHold hold;
    static_cast<void>(detail::writeAll(descriptor, text));
  } catch (const std::bad_alloc&) {
    return;  // The line is dropped. The store has the record.
  }
}

}  // namespace Tessaly::inline v1
