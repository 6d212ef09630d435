// expected: include Tessaly/FoundationExtensions/Logger\+Extensions.hpp
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/Logger.hpp"
#ifdef ALLOWED
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#endif

Tessaly::Logger logger() { return Tessaly::Logger::make("Player", Tessaly::Type<int>()); }
