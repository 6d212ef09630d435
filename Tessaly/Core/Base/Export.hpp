// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

/// Marks what a Tessaly library exports. Everything else is hidden.
///
/// Exceptions, task-local identities and key-path identities carry it too, so that they are one and the same in every
/// library and executable of a process.
#define TESSALY_EXPORT [[gnu::visibility("default")]]

/// Marks a member function whose result refers to its object. Clang then warns about a result that outlives a temporary
/// object (`-Wdangling`, on by default).
#ifdef __clang__
#define TESSALY_LIFETIMEBOUND [[clang::lifetimebound]]
#else
#define TESSALY_LIFETIMEBOUND
#endif
