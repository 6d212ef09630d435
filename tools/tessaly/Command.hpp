// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <stdexcept>
#include <string_view>

namespace TessalyTool {

using Arguments = std::span<const std::string_view>;

/// Other values are those of a command that was run for the user.
enum ExitCode : int { success = 0, failure = 1, wrongUsage = 2 };

/// A command line that makes no sense. Ends in exit code 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What could not be done. Ends in exit code 1.
struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A subcommand of `tessaly`.
struct Command {
  std::string_view name;
  /// One line for the list of subcommands.
  std::string_view summary;
  /// What `tessaly <name> --help` prints.
  std::string_view help;
  /// Does the work on the arguments behind the name; throws `UsageError` or `CommandError`.
  ExitCode (*run)(Arguments arguments);
};

extern const Command awakeCommand;
extern const Command copyCommand;
extern const Command defaultsCommand;
extern const Command digestCommand;
extern const Command formatCommand;
extern const Command infoCommand;
extern const Command listCommand;
extern const Command logCommand;
extern const Command reachCommand;
extern const Command watchCommand;
extern const Command zipCommand;

}  // namespace TessalyTool
