// SPDX-License-Identifier: MIT
#include <chrono>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>

#include "DefaultsOperations.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"
#include "Values.hpp"

namespace TessalyTool::Defaults {

namespace {

using Tessaly::JournaledUserDefaults;
using Tessaly::UserDefaultsProblem;

std::string_view meaning(Tessaly::UserDefaultsEffect effect) {
  switch (effect) {
    case Tessaly::UserDefaultsEffect::none:
      return "No value is lost.";
    case Tessaly::UserDefaultsEffect::inMemoryOnly:
      return "New values are not stored.";
    case Tessaly::UserDefaultsEffect::notRead:
      return "Its values read as their defaults.";
    case Tessaly::UserDefaultsEffect::mayBeLost:
      return "Values may be lost.";
  }
  return "";
}

/// The keys of damaged records, as far as they can be read.
void printDamagedKeys(const std::string& file) {
  const auto contents = Tessaly::detail::readFile(file);
  const auto journal = contents ? Tessaly::detail::JournalContents::from(contents->bytes) : std::nullopt;
  if (!journal) return;
  Tessaly::detail::JournalReader reader(journal->records, journal->header.nonce);
  while (reader.next()) {
  }
  auto damaged = reader.damaged();
  const auto end = reader.damagedAtEnd();
  damaged.insert(damaged.end(), end.begin(), end.end());
  for (const std::string_view bytes : damaged) {
    const auto keys = Tessaly::detail::keysOfDamagedRecord(bytes);
    for (const auto key : keys) std::cout << "  damaged record of " << printedKey(key) << '\n';
    if (keys.empty()) std::cout << "  damaged record of an unknown key\n";
  }
}

}  // namespace

ExitCode doctor(Arguments arguments) {
  requireCount(arguments, 1, 1);
  static_cast<void>(openExisting(arguments[0], Damage::isExpected));
  const Store store = open(arguments[0], Opening::forUse);
  const auto end = std::chrono::steady_clock::now() + 5 * JournaledUserDefaults::damageDelay;
  while (!store->synchronize() && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  const auto status = store->status();
  for (const auto& incident : status.problems) {
    std::cout << incident.time << ": " << incident.description() << ". " << meaning(incident.effect)
              << (!incident.isOngoing      ? " It is over."
                  : incident.healsByItself ? " It ends by itself once its reason is gone."
                                           : " It needs a person.")
              << '\n';
    if (incident.problem == UserDefaultsProblem::damagedJournal) printDamagedKeys(incident.file);
  }
  if (status.problems.empty()) std::cout << "Nothing is wrong with the settings in " << status.folder << '\n';
  if (status.problem != UserDefaultsProblem::none) throw CommandError("Something is still wrong");
  return success;
}

}  // namespace TessalyTool::Defaults
