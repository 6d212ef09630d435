// SPDX-License-Identifier: MIT
#include <chrono>
#include <iostream>
#include <optional>
#include <string>
#include <thread>

#include "Command.hpp"
#include "Interruption.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"

namespace TessalyTool {
namespace {

using Tessaly::NWPath;
using Tessaly::NWPathMonitor;
namespace ReachabilityService = Tessaly::ReachabilityService;

constexpr std::string_view help = R"(Usage: tessaly reach [--watch | --quiet]

Prints whether this machine is online and whether that costs money, and who says so:

  online, not expensive
  path: satisfied (kernel), not expensive (networkManager)

  --watch   go on with a line for each change, until interrupted
  --quiet   print nothing; exit code 0 online, 1 offline

The setting "can-connect-to-host" forces offline, here as in every application:
  tessaly defaults write tessaly can-connect-to-host -bool false

Exit codes: 0 done, 1 failed (or offline, with --quiet), 2 wrong usage.
)";

std::string described(const ReachabilityService::Status& status) {
  return std::string(status.isOnline ? "online, " : "offline, ") + (status.isExpensive ? "expensive" : "not expensive");
}

/// The path, once those who are asked for it have answered or had their time.
NWPath settledPath() {
  const auto monitor = NWPathMonitor::make();
  NWPath path = monitor->currentPath();
  while (path.expenseSource() == NWPath::ExpenseSource::asking) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    path = monitor->currentPath();
  }
  return path;
}

ExitCode watch() {
  const Interruption interruption;
  settledPath();
  const auto following =
      Tessaly::Task<>::detached([statuses = ReachabilityService::statuses()]() -> Tessaly::Async<void> {
        std::optional<ReachabilityService::Status> printed;
        auto iterator = statuses.makeAsyncIterator();
        while (const auto status = co_await iterator.next()) {
          if (status == printed) continue;
          printed = status;
          std::cout << described(*status) << std::endl;
          if (!std::cout) Interruption::raise();  // Nobody reads any more.
        }
      });
  interruption.wait();
  following.cancel();
  return success;
}

ExitCode run(Arguments arguments) {
  if (arguments.size() > 1) throw UsageError("\"" + std::string(arguments[1]) + "\" is too much");
  const std::string_view option = arguments.empty() ? "" : arguments[0];
  if (option == "--watch") return watch();
  if (option == "--quiet") return ReachabilityService::isOnline() ? success : failure;
  if (!option.empty()) throw UsageError("There is no option \"" + std::string(option) + "\"");
  const NWPath path = settledPath();
  std::cout << described({.isOnline = ReachabilityService::isOnline(), .isExpensive = path.isExpensive()})
            << "\npath: " << path << '\n';
  return success;
}

}  // namespace

const Command reachCommand{.name = "reach", .summary = "tell whether this machine is online", .help = help, .run = run};

}  // namespace TessalyTool
