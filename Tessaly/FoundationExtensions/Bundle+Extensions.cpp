// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/Bundle+Extensions.hpp"

namespace Tessaly::inline v1 {

std::string appVersionString(const Bundle& bundle) { return bundle.shortVersionString().value_or(""); }

std::string buildNumber(const Bundle& bundle) { return bundle.buildVersion().value_or(""); }

std::optional<Version> appVersion(const Bundle& bundle) { return Version::from(appVersionString(bundle)); }

bool isInTestFlight(const Bundle& /*bundle*/) noexcept { return false; }

}  // namespace Tessaly::inline v1
