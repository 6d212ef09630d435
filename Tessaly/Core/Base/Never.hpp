// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// A type without values. It is the failure type of sequences that cannot fail.
struct Never {
  Never() = delete;
};

}  // namespace Tessaly::inline v1
