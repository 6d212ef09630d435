// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/FatalError.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <string>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit std::array<std::atomic<void (*)() noexcept>, 8> handlers{};
constinit std::atomic<bool> isStopping{false};
constinit thread_local bool isReporter = false;

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
    if (isReporter) std::abort();  // A handler failed too.
    for (;;) ::pause();            // The reporting thread ends the process.
  }
  isReporter = true;
  fmt::memory_buffer text;
  fmt::format_to(fmt::appender(text), "{}:{}: Fatal error: {}\n", file, line, message);
  static_cast<void>(detail::writeAll(STDERR_FILENO, {text.data(), text.size()}));
  for (auto& slot : handlers) {
    if (auto* handler = slot.load(std::memory_order_acquire)) handler();
  }
  std::abort();
}

void detail::stopAtThrownNotification(const char* name) noexcept {
  fatalError(std::string(name) + " has thrown", "Tessaly/Notification", __LINE__);
}

}  // namespace Tessaly::inline v1
