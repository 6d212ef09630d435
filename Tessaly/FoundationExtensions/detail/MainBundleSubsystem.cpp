// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/detail/MainBundleSubsystem.hpp"

#include <optional>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"

namespace Tessaly::inline v1 {

std::string detail::mainBundleSubsystem(std::string_view subsystem, std::string_view file, unsigned line) {
  const std::optional<std::string>& identifier = Bundle::main().bundleIdentifier();
  if (!identifier) {
    fatalError(
        "Unable to get 'Bundle.main.bundleIdentifier'\n"
        "Give the program a bundle: tessaly_bundle(<target> IDENTIFIER <identifier>) in CMake, or Bundle::setMain "
        "first.",
        file, line);
  }
  setPlatformLogIdentifier(*identifier);
  std::string joined = *identifier;
  joined += '.';
  joined += subsystem;
  return joined;
}

}  // namespace Tessaly::inline v1
