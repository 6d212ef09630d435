// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

// Every header that declares a coroutine type includes this header.

#include "Tessaly/Core/Base/Requirements.hpp"

// tests/compiler holds the probes: tests of coroutine patterns that some compilers miscompile. clang 19 and later pass
// all probes. g++ 14 fails some probes. The library avoids the patterns of these probes, and a host must avoid them too
// (see docs/platforms.md). TESSALY_COMPILER_PASSES_PROBES admits another compiler. The CMake option
// -DTESSALY_CHECK_COMPILER=ON runs the probes, and defines this macro if the compiler passes.
#if !defined(__clang__) && __GNUC__ != 14 && !defined(TESSALY_COMPILER_PASSES_PROBES)
#error \
    "This header declares coroutines, which g++ 12 miscompiles without a warning. Compile with clang 19 or g++ 14 (Debian 12: apt install clang-19). For another compiler see TESSALY_CHECK_COMPILER in docs/platforms.md."
#include "see-the-error-above"  // A missing file ends the compilation here.
#endif

#include <coroutine>
