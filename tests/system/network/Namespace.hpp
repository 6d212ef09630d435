// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace Tessaly::Tests {

/// The reason why this process is not in a network namespace of its own with all rights. Empty if it is.
const std::string& reasonForNoNamespace();

/// Restarts the program in such a namespace, with the same arguments. Returns only if that fails.
void enterNamespace(char** arguments);

/// Runs lines of the `ip` command, such as "link set left up". If one fails, the test fails and the result is false.
bool ip(const std::string& lines);

/// Whether a line of the `ip` command works. Does not fail the test.
bool canIp(const std::string& line);

}  // namespace Tessaly::Tests
