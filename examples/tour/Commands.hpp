// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace Tour {

struct CommandResult {
  int status;
  std::string output;
};

/// Runs a program to its end. Returns its exit status and its output, errors included, without the last line feed. The
/// status is -1 if it could not be started.
CommandResult runCommand(std::vector<std::string> arguments);

}  // namespace Tour
