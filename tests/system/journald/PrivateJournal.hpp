// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Tessaly::Tests {

/// A real systemd-journald that only this process and its children see. It runs in their own mount namespace, with /run
/// and /var/log in memory. Construct it before the process starts any thread.
class PrivateJournal {
 public:
  using Entry = std::map<std::string, std::string>;

  /// Enters the namespace and starts the daemon. On failure, `reason()` says why.
  PrivateJournal();
  ~PrivateJournal();
  PrivateJournal(const PrivateJournal&) = delete;
  PrivateJournal& operator=(const PrivateJournal&) = delete;

  /// Empty if the journal runs.
  [[nodiscard]] const std::string& reason() const { return reason_; }

  /// Restarts the daemon after `kill`, and waits until it accepts entries.
  void start();
  /// Ends the daemon at once. The file of its socket stays.
  void kill();
  /// Stops the daemon, and continues it.
  void pause() const;
  void resume() const;
  void removeSocket() const;

  /// The entries of this subsystem, oldest first. Returns when there are `count` entries, or after 8 s.
  [[nodiscard]] std::vector<Entry> entries(const std::string& subsystem, std::size_t count) const;
  /// Whether any of the journal's files contains the text.
  [[nodiscard]] bool filesContain(const std::string& text) const;

 private:
  std::string reason_;
  pid_t daemon_ = -1;
};

}  // namespace Tessaly::Tests
