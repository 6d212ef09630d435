// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/UserDefaults.hpp"

#include <algorithm>
#include <utility>

#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1 {

KeyValueObserver::~KeyValueObserver() = default;

UserDefaults::~UserDefaults() = default;

std::string_view UserDefaults::className() const noexcept { return "Tessaly.UserDefaults"; }

std::uint64_t UserDefaults::revision() const noexcept { return 0; }

void UserDefaults::setValuesForKeys(KeyedValues keyedValues) {
  for (auto& [key, value] : keyedValues) {
    value ? set(std::move(*value), key) : removeObject(key);
  }
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): an override keeps the keys.
void UserDefaults::publishKeys(std::vector<SettingDescription>) {}

std::vector<SettingDescription> UserDefaults::publishedKeys() const { return {}; }

UserDefaults::KeyedValues UserDefaults::withWellFormedKeys(KeyedValues keyedValues) {
  const auto isIllFormed = [](const auto& entry) { return !Text::isWellFormed(entry.first); };
  for (auto entry = std::ranges::find_if(keyedValues, isIllFormed); entry != keyedValues.end();
       entry = std::ranges::find_if(keyedValues, isIllFormed)) {
    auto taken = keyedValues.extract(entry);
    keyedValues.insert_or_assign(Text::sanitized(taken.key()), std::move(taken.mapped()));
  }
  return keyedValues;
}

const std::shared_ptr<UserDefaults>& UserDefaults::standard() { return detail::backendInUse<UserDefaults>(); }

InstalledBackend<UserDefaults>& UserDefaults::installed() noexcept {
  static constinit InstalledBackend<UserDefaults> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
