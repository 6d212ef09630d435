// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

/// Marks the exported names of a Tessaly library. All other names are hidden.
///
/// Error classes have this mark too, so that every library of a process uses the same type information for them. A
/// `catch` in one library then matches an exception from another library.
#define TESSALY_EXPORT [[gnu::visibility("default")]]

/// Marks a member function whose result refers to `*this`, or a parameter to which the result refers. Clang then warns
/// about a result that outlives a temporary object (`-Wdangling`, on by default).
///
/// `TESSALY_NON_OWNING` marks a class whose objects refer to the argument of their constructor.
#ifdef __clang__
#define TESSALY_LIFETIMEBOUND [[clang::lifetimebound]]
#define TESSALY_NON_OWNING [[gsl::Pointer]]
#else
#define TESSALY_LIFETIMEBOUND
#define TESSALY_NON_OWNING
#endif
