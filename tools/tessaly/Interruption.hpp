// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <functional>

#include "Signals.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"

namespace TessalyTool {

/// Ends a command that runs until the user or the reader of its output ends it. The signals are SIGINT, SIGTERM and
/// SIGHUP. A second signal ends the process itself, in case its output is blocked. A command makes it first, because it
/// does not block the signals of threads that already run.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  void wait() const {
    static_cast<void>(signals_.next());
    signals_.deliverSoon();
  }
  /// Interrupts the command. Any thread may call it.
  static void raise();
  /// A descriptor that becomes readable when the command is interrupted.
  [[nodiscard]] int fileDescriptor() const noexcept { return descriptor_; }
  /// Runs the work until it ends. An interruption cancels it. Throws the exceptions of the work.
  void runUntilInterrupted(std::function<Tessaly::Async<void>()> work) const;

 private:
  PendingSignals signals_{SIGINT, SIGTERM, SIGHUP};
  int descriptor_;
};

/// Flushes standard output. Throws `CommandError` if it cannot be written.
void flushOutput();

}  // namespace TessalyTool
