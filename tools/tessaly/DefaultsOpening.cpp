// SPDX-License-Identifier: MIT
#include <cerrno>
#include <cstring>
#include <iostream>

#include "DefaultsOperations.hpp"

namespace TessalyTool::Defaults {

using Tessaly::JournaledUserDefaults;
using Tessaly::UserDefaultsProblem;

Store open(std::string_view identifier, Opening opening) {
  if (identifier.starts_with('-')) throw UsageError("There is no option " + std::string(identifier));
  Store store = JournaledUserDefaults::openIdentifier(identifier, opening);
  if (store->status().problem == UserDefaultsProblem::noFolder) {
    throw CommandError("There is no place for the settings of \"" + std::string(identifier) + "\"");
  }
  return store;
}

std::string reason(const Tessaly::UserDefaultsStatus& status) {
  if (status.problem == UserDefaultsProblem::newerVersion) return "a later version has written them";
  if (status.errorCode == EILSEQ) return "Settings.plist is damaged, or no property list";
  return std::strerror(status.errorCode);
}

Store openExisting(std::string_view identifier, Damage damage) {
  Store store = open(identifier, Opening::forReading);
  const auto status = store->status();
  if (damage == Damage::isExpected && status.problem != UserDefaultsProblem::none) return store;
  if (status.problem == UserDefaultsProblem::newerVersion) {
    std::cerr << "A later version has written the settings in " << status.folder << "; only Settings.plist is read\n";
  } else if (status.problem != UserDefaultsProblem::none) {
    throw CommandError("The settings in " + status.folder + " cannot be read: " + reason(status));
  }
  if (store->dictionaryRepresentation().empty()) {
    throw CommandError("There are no settings of \"" + std::string(identifier) + "\"");
  }
  return store;
}

void requireStored(const Store& store) {
  auto status = store->status();
  // A checkpoint may make room for changes that could not be stored.
  for (int attempt = 0; attempt < 2 && status.unstoredKeys > 0; ++attempt) {
    store->synchronize();
    status = store->status();
  }
  switch (status.problem) {
    case UserDefaultsProblem::none:
      return;
    case UserDefaultsProblem::unreadablePropertyList:
    case UserDefaultsProblem::damagedPropertyList:
      // The journal has the changes.
      std::cerr << "tessaly defaults: " << status.problems.back().description() << '\n';
      return;
    case UserDefaultsProblem::lockHeld:
      throw CommandError("Another process holds the lock of the settings in " + status.folder);
    case UserDefaultsProblem::readOnly:
      throw CommandError("The settings in " + status.folder + " may only be read");
    case UserDefaultsProblem::diskFull:
      throw CommandError("The disk is full");
    case UserDefaultsProblem::newerVersion:
      throw CommandError("The settings in " + status.folder + " were written by a later version");
    case UserDefaultsProblem::valueTooLarge:
      throw CommandError("The value is too large or nested too deep");
    default:
      throw CommandError("The settings in " + status.folder + " cannot be written: " + std::strerror(status.errorCode));
  }
}

void requireCount(Arguments arguments, std::size_t least, std::size_t most) {
  if (arguments.size() < least) throw UsageError("An argument is missing");
  if (arguments.size() > most) throw UsageError("\"" + std::string(arguments[most]) + "\" is too much");
}

}  // namespace TessalyTool::Defaults
