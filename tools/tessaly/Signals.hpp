// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <initializer_list>

namespace TessalyTool {

/// Has a reader that has gone told by the stream instead of by a signal.
void ignoreBrokenPipes();

/// Signals that wait until they are asked for, from the making of this on. Those that the process was started to ignore
/// stay ignored. To be made before the library is used.
class PendingSignals {
 public:
  explicit PendingSignals(std::initializer_list<int> numbers);

  /// The next one, with what is known of its sender.
  [[nodiscard]] siginfo_t next() const;

  /// For a program that is started: the mask that was there before, and the signals to be reset in it.
  [[nodiscard]] const sigset_t& maskBefore() const { return maskBefore_; }
  [[nodiscard]] static sigset_t resetInPrograms();

 private:
  sigset_t waiting_{};
  sigset_t maskBefore_{};
};

/// Waits until the user, or whoever reads the output, wants no more.
class Interruption {
 public:
  Interruption() : signals_({SIGINT, SIGTERM, SIGHUP}) {}

  void wait() const { static_cast<void>(signals_.next()); }
  /// Ends the wait, from any thread.
  static void raise();

 private:
  PendingSignals signals_;
};

}  // namespace TessalyTool
