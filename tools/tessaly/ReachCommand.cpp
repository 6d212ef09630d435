// SPDX-License-Identifier: MIT
#include <chrono>
#include <iostream>
#include <optional>
#include <string>
#include <thread>

#include "Command.hpp"
#include "Interruption.hpp"
#include "JSON.hpp"
#include "Options.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"

namespace TessalyTool {
namespace {

using Tessaly::NWPath;
using Tessaly::NWPathMonitor;
namespace ReachabilityService = Tessaly::ReachabilityService;

constexpr std::string_view help = R"(Usage: tessaly reach [--watch] [--json] | --quiet

Prints whether this machine is online, whether that costs money, and the sources of both:

  online, not expensive
  path: satisfied (kernel), not expensive (networkManager)

  --watch   also print a line for each change, until interrupted
  --json    print {"online":true,"expensive":false}
  --quiet   print nothing; exit code 0 online, 1 offline

Each application has a setting that makes it offline, whatever the network says. It is stored under the identifier of
that application and changes no other one:
  tessaly defaults write <identifier> can-connect-to-host -bool false
The identifier of this command is "tessaly".

Exit codes: 0 done, 1 failed (or offline, with --quiet), 2 wrong usage.
)";

std::string described(const ReachabilityService::Status& status) {
  return std::string(status.isOnline ? "online, " : "offline, ") + (status.isExpensive ? "expensive" : "not expensive");
}

/// The path, after every source has answered or its time limit has passed.
NWPath settledPath() {
  const auto monitor = NWPathMonitor::make();
  NWPath path = monitor->currentPath();
  while (path.expenseSource() == NWPath::ExpenseSource::asking) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    path = monitor->currentPath();
  }
  return path;
}

std::string jsonOf(const ReachabilityService::Status& status) {
  return JSONObject().add("online", status.isOnline).add("expensive", status.isExpensive).text();
}

ExitCode watch(bool printsJSON) {
  const Interruption interruption;
  settledPath();
  const auto following =
      Tessaly::Task<>::detached([printsJSON, statuses = ReachabilityService::statuses()]() -> Tessaly::Async<void> {
        std::optional<ReachabilityService::Status> printed;
        auto iterator = statuses.makeAsyncIterator();
        while (const auto status = co_await iterator.next()) {
          if (status == printed) continue;
          printed = status;
          std::cout << (printsJSON ? jsonOf(*status) : described(*status)) << std::endl;
          if (!std::cout) Interruption::raise();  // The output has no reader any more.
        }
      });
  interruption.wait();
  following.cancel();
  return success;
}

ExitCode run(Arguments arguments) {
  const CommandLine line(arguments, {"--watch", "--quiet", "--json"});
  line.refuseMoreThan(0);
  if (line.has("--quiet") && (line.has("--watch") || line.has("--json"))) {
    throw UsageError("--quiet stands alone");
  }
  if (line.has("--watch")) return watch(line.has("--json"));
  if (line.has("--quiet")) return ReachabilityService::isOnline() ? success : failure;
  const NWPath path = settledPath();
  if (line.has("--json")) {
    std::cout << jsonOf({.isOnline = ReachabilityService::isOnline(), .isExpensive = path.isExpensive()}) << '\n';
    return success;
  }
  std::cout << described({.isOnline = ReachabilityService::isOnline(), .isExpensive = path.isExpensive()})
            << "\npath: " << path << '\n';
  return success;
}

}  // namespace

const Command reachCommand{
    .name = "reach", .summary = "print whether this machine is online", .help = help, .run = run};

}  // namespace TessalyTool
