// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/FormatStyle.hpp"

namespace Tessaly::inline v1 {

/// The definition of `Date::FormatStyle::compactDateTime`.
struct detail::CompactDateTime {
  [[nodiscard]] TESSALY_EXPORT static Date::FormatStyle make();
};

}  // namespace Tessaly::inline v1
