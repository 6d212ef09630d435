// expected: include Tessaly/FoundationExtensions/OSLog\+Extensions.hpp
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/OSLog.hpp"
#ifdef ALLOWED
#include "Tessaly/FoundationExtensions/OSLog+Extensions.hpp"
#endif

Tessaly::OSLog log() { return Tessaly::OSLog::pointOfInterest("Player"); }
