// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

/// Marks the exported names of a Tessaly library. All other names are hidden.
///
/// Exceptions, task-local identities and key-path identities have this mark too, so that each is unique in a process
/// with several libraries.
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
