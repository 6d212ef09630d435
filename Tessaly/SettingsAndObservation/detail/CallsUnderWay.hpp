// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// The calls of a handler, on any threads and within each other, whose end can be waited for.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT CallsUnderWay {
 public:
  /// One call, for the extent of a block.
  class TESSALY_EXPORT Call {
   public:
    explicit Call(CallsUnderWay& calls) noexcept;
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// False once there are to be no more calls.
    [[nodiscard]] bool isAdmitted() const noexcept { return calls_ != nullptr; }

   private:
    friend class CallsUnderWay;
    CallsUnderWay* calls_;
    const Call* outer_;
  };

  /// Admits no more calls, and waits for those of other threads. False if one is under way further up on this thread.
  bool end() noexcept;

 private:
  void leave() noexcept;

  static constexpr std::uint32_t hasEnded = std::uint32_t{1} << 31;

  /// How many, and `hasEnded`.
  std::atomic<std::uint32_t> state_{0};
};

}  // namespace Tessaly::inline v1::detail
