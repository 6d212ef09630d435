// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/FatalError.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace Tessaly::inline v1 {
namespace {

constinit std::array<std::atomic<void (*)() noexcept>, 8> handlers{};
constinit std::atomic<bool> isStopping{false};
constinit thread_local bool isReporter = false;

void writeAll(const char* bytes, std::size_t count) noexcept {
  while (count > 0) {
    const ssize_t written = ::write(STDERR_FILENO, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
}

}  // namespace

void addFatalErrorHandler(void (*handler)() noexcept) noexcept {
  for (auto& slot : handlers) {
    void (*empty)() noexcept = nullptr;
    if (slot.compare_exchange_strong(empty, handler, std::memory_order_acq_rel)) return;
    if (empty == handler) return;
  }
}

void fatalError(std::string_view message, std::string_view file, unsigned line) noexcept {
  if (isStopping.exchange(true, std::memory_order_acq_rel)) {
    if (isReporter) std::abort();  // A handler failed in its turn.
    for (;;) ::pause();            // The reporting thread ends the process.
  }
  isReporter = true;
  fmt::memory_buffer text;
  fmt::format_to(fmt::appender(text), "{}:{}: Fatal error: {}\n", file, line, message);
  writeAll(text.data(), text.size());
  for (auto& slot : handlers) {
    if (auto* handler = slot.load(std::memory_order_acquire)) handler();
  }
  std::abort();
}

}  // namespace Tessaly::inline v1
