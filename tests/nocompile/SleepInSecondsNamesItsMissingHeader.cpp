// expected: include Tessaly/FoundationExtensions/Task\+Sleep.hpp
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Task.hpp"
#ifdef ALLOWED
#include "Tessaly/FoundationExtensions/Task+Sleep.hpp"
#endif

Tessaly::Async<void> wait() { return Tessaly::Task<>::sleepSeconds(1); }
