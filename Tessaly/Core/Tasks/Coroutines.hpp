// SPDX-License-Identifier: MIT
#pragma once

// Included by every header that declares a coroutine type.

#if defined(__GNUC__) && !defined(__clang__)
#error \
    "This header declares coroutines, which g++ 12 miscompiles without a warning. Compile with clang-19 (Debian: apt install clang-19)."
#endif

#include <coroutine>
