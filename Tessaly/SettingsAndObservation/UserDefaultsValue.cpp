// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/UserDefaultsValue.hpp"

namespace Tessaly::inline v1 {

std::optional<std::string> UserDefaultsValueTraits<std::string>::value(const PropertyList* object) {
  const auto* text = object != nullptr ? object->text() : nullptr;
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::optional<Date> UserDefaultsValueTraits<Date>::value(const PropertyList* object) noexcept {
  return object != nullptr ? object->date() : std::nullopt;
}

std::optional<Data> UserDefaultsValueTraits<Data>::value(const PropertyList* object) {
  const auto* data = object != nullptr ? object->data() : nullptr;
  return data != nullptr ? std::optional(*data) : std::nullopt;
}

}  // namespace Tessaly::inline v1
