// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

/// Marks what a Tessaly library exports. Everything else is hidden.
///
/// Exceptions, task-local identities and key-path identities carry it too, so that they are one and the same in every
/// library and executable of a process.
#define TESSALY_EXPORT [[gnu::visibility("default")]]
