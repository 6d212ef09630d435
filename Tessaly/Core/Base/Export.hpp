// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

/// Marks the exported names of a Tessaly library. All other names are hidden.
///
/// Exceptions, task-local identities and key-path identities have this mark too, so that each is unique in a process
/// with several libraries.
#define TESSALY_EXPORT [[gnu::visibility("default")]]

/// Marks a member function whose result refers to its object. Clang then warns about a result that outlives a temporary
/// object (`-Wdangling`, on by default).
#ifdef __clang__
#define TESSALY_LIFETIMEBOUND [[clang::lifetimebound]]
#else
#define TESSALY_LIFETIMEBOUND
#endif
