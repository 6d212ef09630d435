// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

// The requirements for compiling a host. Every public header includes this file. So a host with an older compiler gets
// one line with the reason, and not many errors about unknown names.

#if __cplusplus <= 202002L
#error "Tessaly needs C++23. Compile with -std=c++23."
#define TESSALY_CANNOT_BE_COMPILED
#elif defined(__clang__) && __clang_major__ < 19
#error "Tessaly needs clang 19 or later. Debian: apt install clang-19."
#define TESSALY_CANNOT_BE_COMPILED
#elif !defined(__clang__) && defined(__GNUC__) && __GNUC__ < 12
#error "Tessaly needs g++ 12 or later, or clang 19 or later."
#define TESSALY_CANNOT_BE_COMPILED
#elif !defined(__cpp_exceptions)
#error "Tessaly needs exceptions. Compile without -fno-exceptions."
#define TESSALY_CANNOT_BE_COMPILED
#elif !defined(__cpp_rtti)
#error "Tessaly needs run-time type information. Compile without -fno-rtti."
#define TESSALY_CANNOT_BE_COMPILED
#endif

#ifdef TESSALY_CANNOT_BE_COMPILED
#include "see-the-error-above"  // A missing file ends the compilation here.
#endif
