// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

// Every header that declares a coroutine type includes this header.

#include "Tessaly/Core/Base/Requirements.hpp"

#if defined(__GNUC__) && !defined(__clang__)
#error \
    "This header declares coroutines, which g++ 12 miscompiles without a warning. Compile with clang-19 (Debian: apt install clang-19)."
#include "see-the-error-above"  // A missing file ends the compilation here.
#endif

#include <coroutine>
