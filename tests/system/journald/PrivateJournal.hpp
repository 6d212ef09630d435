// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Tessaly::Tests {

/// A real systemd-journald that only this process and its children see: in a mount namespace of their own, on a /run
/// and a /var/log in memory. Must be made before the process starts any thread.
class PrivateJournal {
 public:
  using Entry = std::map<std::string, std::string>;

  /// Enters the namespace and starts the daemon. If that cannot be done, `reason()` says why not.
  PrivateJournal();
  ~PrivateJournal();
  PrivateJournal(const PrivateJournal&) = delete;
  PrivateJournal& operator=(const PrivateJournal&) = delete;

  /// Empty when the journal runs.
  [[nodiscard]] const std::string& reason() const { return reason_; }

  /// Starts the daemon again after `kill`, and waits until it takes entries.
  void start();
  /// Ends the daemon at once, its socket's file left behind.
  void kill();
  /// Stops the daemon from running, and lets it run on.
  void pause() const;
  void resume() const;
  void removeSocket() const;

  /// The entries of this subsystem, oldest first, as soon as there are `count` of them, or what there is after 8 s.
  [[nodiscard]] std::vector<Entry> entries(const std::string& subsystem, std::size_t count) const;
  /// Whether any of the journal's files contains the text.
  [[nodiscard]] bool filesContain(const std::string& text) const;

 private:
  std::string reason_;
  pid_t daemon_ = -1;
};

}  // namespace Tessaly::Tests
