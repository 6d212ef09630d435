// SPDX-License-Identifier: MIT
#pragma once

namespace Tessaly::inline v1 {

/// A type without values: the failure of what cannot fail.
struct Never {
  Never() = delete;
};

}  // namespace Tessaly::inline v1
