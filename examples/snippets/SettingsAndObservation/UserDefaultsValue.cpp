// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/UserDefaultsValue.hpp"

namespace {

using namespace Tessaly;

void marks() {
  constexpr const UserDefaultValueIdentification<int>& mark = UserDefaultsValueTraits<int>::identification;
}

void conversions() {
  PropertyList object = UserDefaultsValueTraits<int>::object(5);
  std::optional<int> five = UserDefaultsValueTraits<int>::value(&object);
  std::optional<bool> none = UserDefaultsValueTraits<bool>::value(&object);  // Only 0 and 1 are boolean.
}

}  // namespace
