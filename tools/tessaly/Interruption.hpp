// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <functional>

#include "Signals.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"

namespace TessalyTool {

/// What ends a command that goes on until the user, or whoever reads its output, wants no more: SIGINT, SIGTERM and
/// SIGHUP. A later one ends the process itself, should its output be stuck. Made before the command does anything,
/// since threads that are started before do not know of it.
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
  /// Ends the wait, from any thread.
  static void raise();
  /// Readable once the command was interrupted.
  [[nodiscard]] int fileDescriptor() const noexcept { return descriptor_; }
  /// Runs the work until it ends, or is interrupted and cancelled. Throws what it throws.
  void runUntilInterrupted(std::function<Tessaly::Async<void>()> work) const;

 private:
  PendingSignals signals_{SIGINT, SIGTERM, SIGHUP};
  int descriptor_;
};

/// Writes to standard output at once; throws `CommandError` when nobody reads it any more.
void flushOutput();

}  // namespace TessalyTool
