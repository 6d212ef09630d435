// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "Tessaly/Platform/Tasks/Async.hpp"

namespace TessalyTool {

/// SIGINT and SIGTERM as something that can be waited for, for commands that go on until they are interrupted. Made
/// before the command does anything, since threads that are started before do not know of it.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// Readable once the command was interrupted.
  [[nodiscard]] int fileDescriptor() const noexcept { return descriptor_; }
  /// Runs the work until it ends, or is interrupted and cancelled. Throws what it throws.
  void runUntilInterrupted(std::function<Tessaly::Async<void>()> work) const;

 private:
  int descriptor_;
};

/// Writes to standard output at once; throws `CommandError` when nobody reads it any more.
void flushOutput();

}  // namespace TessalyTool
