// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <string>

namespace Tessaly::Tests {

/// A message bus of a test's own, on which everybody may do everything. For programs that link `TessalyPrivateBus`.
class PrivateBus {
 public:
  /// Starts it, and makes it the system bus of this process.
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  /// Why it does not run; empty if it does.
  [[nodiscard]] const std::string& reason() const { return reason_; }
  /// The same after its end, for `start()`.
  [[nodiscard]] const std::string& address() const { return address_; }

  void stop();
  void start();

 private:
  std::string folder_;
  std::string address_;
  std::string reason_;
  pid_t daemon_ = -1;
};

}  // namespace Tessaly::Tests
