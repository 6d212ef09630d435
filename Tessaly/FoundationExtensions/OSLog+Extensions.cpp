// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/OSLog+Extensions.hpp"
#include "Tessaly/FoundationExtensions/detail/MainBundleSubsystem.hpp"

namespace Tessaly::inline v1 {
namespace {

/// Frozen: crash reports are grouped by this line.
constexpr unsigned missingIdentifierLine = 10;

}  // namespace

OSLog detail::PointOfInterest::make(std::string_view subsystem) {
  return OSLog(mainBundleSubsystem(subsystem, "Tessaly/OSLog+Extensions", missingIdentifierLine),
               OSLog::Category::pointsOfInterest);
}

}  // namespace Tessaly::inline v1
