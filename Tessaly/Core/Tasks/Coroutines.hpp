// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

// Every header that declares a coroutine type includes this header.

#include "Tessaly/Core/Base/Requirements.hpp"

// tests/compiler holds the probes that a compiler must pass. The probes pass with clang 19 and later, and with g++ 14.
// TESSALY_COMPILER_PASSES_PROBES admits another compiler; -DTESSALY_CHECK_COMPILER=ON runs the probes and defines this
// macro.
#if !defined(__clang__) && __GNUC__ != 14 && !defined(TESSALY_COMPILER_PASSES_PROBES)
#error \
    "This header declares coroutines, which g++ 12 miscompiles without a warning. Compile with clang 19 or g++ 14 (Debian 12: apt install clang-19). For another compiler see TESSALY_CHECK_COMPILER in docs/platforms.md."
#include "see-the-error-above"  // A missing file ends the compilation here.
#endif

#include <coroutine>
