// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace Tessaly::Tests {

/// The reason why this process does not see the root directory of a sandbox. Empty if it does.
const std::string& reasonForNoSandbox();

/// Restarts the program with the root directory of a Flatpak sandbox, in a mount namespace of its own. That directory
/// has the file that describes the sandbox, and an empty /run. Returns only if that fails.
void enterSandbox(char** arguments);

}  // namespace Tessaly::Tests
