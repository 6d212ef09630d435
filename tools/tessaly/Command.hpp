// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <stdexcept>
#include <string_view>

namespace TessalyTool {

using Arguments = std::span<const std::string_view>;

/// The exit codes of `tessaly`. A command that `tessaly` runs for the user may give other values.
enum ExitCode : int { success = 0, failure = 1, wrongUsage = 2 };

/// An invalid command line. Ends with exit code 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A failure of a valid command. Ends with exit code 1.
struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A subcommand of `tessaly`.
struct Command {
  std::string_view name;
  /// One line for the list of subcommands.
  std::string_view summary;
  /// The output of `tessaly <name> --help`.
  std::string_view help;
  /// Runs the subcommand with the arguments after its name. Throws `UsageError` or `CommandError`.
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
extern const Command newCommand;
extern const Command reachCommand;
extern const Command watchCommand;
extern const Command zipCommand;

}  // namespace TessalyTool
