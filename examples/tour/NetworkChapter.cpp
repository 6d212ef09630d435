// SPDX-License-Identifier: MIT
#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Chapters.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"

namespace Tour {
namespace {

using namespace Tessaly;
using Key = Default<bool>::Key;

std::vector<std::string> words(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

std::string firstWord(const std::string& path) {
  std::string word;
  std::ifstream(path) >> word;
  return word;
}

/// The links with a default route, as the older files of the kernel list them.
std::vector<std::string> linksWithADefaultRoute() {
  constexpr unsigned isUp = 1;
  constexpr unsigned refuses = 0x200;
  std::vector<std::string> links;
  std::ifstream four("/proc/net/route");
  for (std::string line; std::getline(four, line);) {
    const auto columns = words(line);
    if (columns.size() > 7 && columns[1] == "00000000" && columns[7] == "00000000") links.push_back(columns[0]);
  }
  std::ifstream six("/proc/net/ipv6_route");
  for (std::string line; std::getline(six, line);) {
    const auto columns = words(line);
    if (columns.size() < 10 || columns[1] != "00" || columns[0].find_first_not_of('0') != std::string::npos) continue;
    const auto flags = static_cast<unsigned>(std::stoul(columns[8], nullptr, 16));
    if ((flags & isUp) != 0 && (flags & refuses) == 0) links.push_back(columns[9]);
  }
  std::ranges::sort(links);
  links.erase(std::ranges::unique(links).begin(), links.end());
  return links;
}

/// Whether a link can carry data, according to other files of the kernel.
bool isRunning(const std::string& link) {
  const std::string state = firstWord("/sys/class/net/" + link + "/operstate");
  return link != "lo" && (state == "up" || state == "unknown");
}

void tellOfThePath(Narrator& narrator) {
  const NWPath path = NWPathMonitor::make()->currentPath();
  narrator.say(text("The path is ", path));
  if (path.status() == NWPath::Status::unknown) {
    narrator.say("The kernel does not tell this process of its routes");
    return;
  }
  const std::vector<std::string> links = linksWithADefaultRoute();
  std::string listed;
  for (const std::string& link : links) listed += " " + link + (isRunning(link) ? "" : " (not running)");
  narrator.say(links.empty() ? "No link has a default route" : "Default routes lead through" + listed);
  // Such a route may lack a usable address, so only one direction is certain.
  const bool couldLeadOut = std::ranges::any_of(links, isRunning);
  narrator.check(couldLeadOut || path.status() == NWPath::Status::unsatisfied,
                 "A satisfied path has a default route over a link that runs");
}

void tellOfTheService(Narrator& narrator) {
  const bool isOnline = ReachabilityService::isOnline();
  narrator.say(text("This machine is ", isOnline ? "online" : "offline", ", and its connection is ",
                    ReachabilityService::isExpensive() ? "expensive" : "not expensive"));
  narrator.check(ReachabilityService::observableIsOnline() == isOnline, "Both ways of asking give the same answer");

  int told = 0;
  withObservationTracking([] { return ReachabilityService::observableIsOnline(); }, [&] { ++told; });
  const bool isExpensive = ReachabilityService::isExpensive();
  const AsyncStream<ReachabilityService::Status> statuses = ReachabilityService::statuses();
  Default<bool>::setValue(Key::canConnectToHost, false);
  narrator.check(!ReachabilityService::isOnline() && !ReachabilityService::observableIsOnline() && told == isOnline,
                 "The setting forces the application offline, and observers are told if that is a change");
  const auto last = syncWait([statuses]() -> Async<ReachabilityService::Status> {
    auto iterator = statuses.makeAsyncIterator();
    auto status = co_await iterator.next();
    while (status->isOnline) status = co_await iterator.next();
    co_return *status;
  });
  // NetworkManager may answer meanwhile, so the former expense is correct, too.
  narrator.check(
      !last.isOnline && (last.isExpensive == isExpensive || last.isExpensive == ReachabilityService::isExpensive()),
      "A stream of statuses tells of it, and the expense does not depend on the setting");

  Task<> waiting([] { return ReachabilityService::nextIsOnline(); });
  MainQueue::drain();
  Default<bool>::setValue(Key::canConnectToHost, true);
  if (isOnline) {
    syncWait([waiting]() -> Async<void> { co_await waiting.value(); });
    narrator.check(ReachabilityService::isOnline(),
                   "A task that waited for a network goes on when the setting is back");
  } else {
    narrator.say("There is no network here, so the task that waits for one is left waiting");
  }
}

}  // namespace

void tellOfTheNetwork(Narrator& narrator) {
  tellOfThePath(narrator);
  tellOfTheService(narrator);
}

}  // namespace Tour
