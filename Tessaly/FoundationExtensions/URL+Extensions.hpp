// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

/// The definition of `URL::ubiquityContainer`.
struct detail::UbiquityContainer {
  [[nodiscard]] TESSALY_EXPORT static std::optional<URL> find(const std::optional<std::string>& identifier,
                                                              const std::vector<std::string>& pathComponents);
};

}  // namespace Tessaly::inline v1
