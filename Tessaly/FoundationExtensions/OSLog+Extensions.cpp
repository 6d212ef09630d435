// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/OSLog+Extensions.hpp"
#include "Tessaly/FoundationExtensions/detail/MainBundleSubsystem.hpp"

namespace Tessaly::inline v1 {

OSLog OSLog::pointOfInterest(std::string_view subsystem) {
  return OSLog(detail::mainBundleSubsystem(subsystem, "Tessaly/OSLog+Extensions", 10), Category::pointsOfInterest);
}

}  // namespace Tessaly::inline v1
