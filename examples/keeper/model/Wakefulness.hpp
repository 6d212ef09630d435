// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Tasks/Isolation.hpp"

namespace keeper {

/// Keeps the display awake for a scope. The desktop's service may take its time, so both ends are asked for beside the
/// main thread, one after the other.
class Wakefulness {
 public:
  Wakefulness();
  Wakefulness(const Wakefulness&) = delete;
  Wakefulness& operator=(const Wakefulness&) = delete;
  ~Wakefulness();

  /// Where the service is called.
  [[nodiscard]] static const Tessaly::Isolation& isolation();
};

}  // namespace keeper
