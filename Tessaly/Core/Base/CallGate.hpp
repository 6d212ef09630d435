// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <atomic>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A gate for the calls of a handler. The gate admits calls until it is closed. Calls may run on several threads and
/// nest. Closing waits for calls on other threads, but not for enclosing calls on the closing thread.
///
/// If calls on two threads both close the gate, they do not wait for each other: inside a call, `close()` waits only
/// for calls that have not closed the gate themselves.
///
/// In the child of a fork, `close()` does nothing if the library had started a thread before the fork. There a wait
/// might never end, because the other threads exist only in the parent. More than 32,767 calls at once stop the
/// process.
///
/// The steps of a call happen before the return of a `close()` that waited for the call.
///
/// Thread contract: thread-safe.
///
///     const CallGate::Call call(gate);
///     if (call.isAdmitted()) handler();
class TESSALY_EXPORT CallGate {
 public:
  /// One call of the handler. The call lasts from the construction of this object to its destruction. The object must
  /// be a local variable.
  class TESSALY_EXPORT Call {
   public:
    explicit Call(CallGate& gate) noexcept;
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// False if the gate was closed before this call began. Then the handler must not be called.
    [[nodiscard]] bool isAdmitted() const noexcept { return gate_ != nullptr; }

   private:
    friend class CallGate;
    CallGate* gate_;
    Call* outer_;
    /// Whether `close()` was called inside this call.
    bool hasClosed_ = false;
  };

  /// Admits no more calls, and waits for the calls on other threads. May be called again. Returns true if no call is
  /// left; then the caller may destroy the handler. Returns false inside a call of this gate on this thread. Does
  /// nothing and returns false in the child of a fork, if the library had started a thread before the fork.
  bool close() noexcept;

  [[nodiscard]] bool isClosed() const noexcept { return (state_.load(std::memory_order_acquire) & closedBit) != 0; }

 private:
  void leave(std::uint32_t parts) noexcept;

  static constexpr std::uint32_t callMask = 0x7FFF;
  static constexpr std::uint32_t closingUnit = callMask + 1;
  static constexpr std::uint32_t closedBit = std::uint32_t{1} << 31;
  static_assert(callMask * closingUnit + callMask < closedBit, "every call may close the gate");

  /// A futex with three parts, from the lowest bit: the number of calls, the number of calls that have closed the gate,
  /// and whether the gate is closed.
  std::atomic<std::uint32_t> state_{0};
};

}  // namespace Tessaly::inline v1
