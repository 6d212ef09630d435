// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace Tessaly::Tests {

/// Why this process is not in a network namespace of its own, in which it may do anything; empty if it is.
const std::string& reasonForNoNamespace();

/// Starts the program anew in such a namespace, with the same arguments. Returns only if that cannot be.
void enterNamespace(char** arguments);

/// Runs lines of the `ip` command, such as "link set left up". False, and a failure of the test, if one fails.
bool ip(const std::string& lines);

/// Whether a line of the `ip` command works, without a failure if it does not.
bool canIp(const std::string& line);

}  // namespace Tessaly::Tests
