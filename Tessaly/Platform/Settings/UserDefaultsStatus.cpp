// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/UserDefaultsStatus.hpp"

#include <array>
#include <cstring>
#include <string_view>

namespace Tessaly::inline v1 {

bool UserDefaultsIncident::operator==(const UserDefaultsIncident& other) const = default;
bool UserDefaultsStatus::operator==(const UserDefaultsStatus& other) const = default;

std::string UserDefaultsIncident::description() const {
  static constexpr std::array<std::string_view, 12> texts{
      "Nothing is wrong",
      "There is no directory for settings; they are kept in memory",
      "The settings may only be read; changes are kept in memory",
      "The disk is full; changes of settings are kept in memory until there is room",
      "The settings were written by a later version; changes are kept in memory",
      "A setting is too large or nested too deep to be stored, and was not changed",
      "The settings cannot be written; changes are kept in memory",
      "Another process holds the lock of the settings; changes are kept in memory until it goes on",
      "The property list of settings cannot be read; its values read as their defaults until it can",
      "The property list of settings is damaged; it will be set aside",
      "A journal of settings is damaged; values that were written last may be lost",
      "Another program has overwritten the journal of settings; what this process knew was stored again",
  };
  std::string text(texts[static_cast<std::size_t>(problem)]);
  if (problem == UserDefaultsProblem::damagedPropertyList && !isOngoing) {
    text = "The property list of settings was damaged, and was set aside";
  }
  const char* const reason = errorCode != 0 ? ::strerrordesc_np(errorCode) : nullptr;
  if (file.empty() && reason == nullptr) return text;
  text += " (" + file;
  if (reason != nullptr) text += (file.empty() ? "" : ": ") + std::string(reason);
  return text + ")";
}

}  // namespace Tessaly::inline v1
