// SPDX-License-Identifier: MIT
#pragma once

#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#endif

namespace Tessaly::Tests {

/// In the scope of this object the thread may leave a task suspended for ever, which a leak checker would report.
struct LeftSuspended {
  LeftSuspended() noexcept {}
  LeftSuspended(const LeftSuspended&) = delete;
  LeftSuspended& operator=(const LeftSuspended&) = delete;
  ~LeftSuspended() {}

#if __has_feature(address_sanitizer)
 private:
  const __lsan::ScopedDisabler disabler_;
#endif
};

}  // namespace Tessaly::Tests
