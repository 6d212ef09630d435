// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <initializer_list>

namespace TessalyTool {

/// Makes a write to a pipe without a reader fail instead of raising a signal.
void ignoreBrokenPipes();
/// Ends this process silently, like other programs, if the reader of its output has closed the pipe, as `head` does.
/// Does nothing if this process was started with SIGPIPE ignored.
void endIfNobodyReads();

/// Blocks signals and returns them on request. Signals that were ignored at the start of the process stay ignored. It
/// must be made before the first use of the library.
class PendingSignals {
 public:
  explicit PendingSignals(std::initializer_list<int> numbers);

  /// The next signal, with the system's information about its sender.
  [[nodiscard]] siginfo_t next() const;
  /// Unblocks the signals after 0.2 s, so that a later one ends the process. Programs such as `timeout` send one signal
  /// twice, to the process and to its group. The delay makes the two count once.
  void deliverSoon() const;

  [[nodiscard]] const sigset_t& set() const { return waiting_; }
  /// For a program that is started: the former mask of blocked signals, and the signals to be reset.
  [[nodiscard]] const sigset_t& maskBefore() const { return maskBefore_; }
  [[nodiscard]] static sigset_t resetInPrograms();

 private:
  sigset_t waiting_{};
  sigset_t maskBefore_{};
};

}  // namespace TessalyTool
