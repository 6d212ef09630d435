// expected: include Tessaly/FoundationExtensions/OS_dispatch_queue\+Delay.hpp
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#ifdef ALLOWED
#include "Tessaly/FoundationExtensions/OS_dispatch_queue+Delay.hpp"
#endif

void later() {
  Tessaly::OS_dispatch_queue::delay(1, [] {});
}
