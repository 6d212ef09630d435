// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <initializer_list>

namespace TessalyTool {

/// Has a reader that has gone told by the stream instead of by a signal.
void ignoreBrokenPipes();
/// Ends this process if the reader of its output has seen enough, as `head` has: as other programs end then, without a
/// word. Not if this process was started to ignore that.
void endIfNobodyReads();

/// Signals that wait until they are asked for, from the making of this on. Those that the process was started to ignore
/// stay ignored. To be made before the library is used.
class PendingSignals {
 public:
  explicit PendingSignals(std::initializer_list<int> numbers);

  /// The next one, with what is known of its sender.
  [[nodiscard]] siginfo_t next() const;
  /// Lets them end the process as they end others, from a fifth of a second on: whoever sends one to the process and to
  /// its group, as `timeout` does, means it once.
  void deliverSoon() const;

  [[nodiscard]] const sigset_t& set() const { return waiting_; }
  /// For a program that is started: the mask that was there before, and the signals to be reset in it.
  [[nodiscard]] const sigset_t& maskBefore() const { return maskBefore_; }
  [[nodiscard]] static sigset_t resetInPrograms();

 private:
  sigset_t waiting_{};
  sigset_t maskBefore_{};
};

}  // namespace TessalyTool
