// SPDX-License-Identifier: MIT
#pragma once

#include <any>
#include <optional>
#include <string>
#include <type_traits>

#include "Tessaly/Adapters/detail/Binding.hpp"
#include "Tessaly/Adapters/detail/FormattedField.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"

namespace Tessaly::inline v1::detail {

/// A setting that a field can show: a number, or a text.
template <typename Value>
concept FieldSetting = ExactNumber<Value> || std::is_same_v<Value, std::string>;

/// Converts the object of a field to the type of a setting. An object of the setting's type is returned unchanged. For
/// a setting that is a number, an `NSNumber` is converted. The result is absent for any other object, and if an integer
/// or Boolean setting cannot hold the number exactly.
template <FieldSetting Value>
std::optional<Value> settingIn(const std::any& object) {
  if (const auto* value = std::any_cast<Value>(&object)) return *value;
  if constexpr (std::is_arithmetic_v<Value>) {
    if (const auto* number = std::any_cast<NSNumber>(&object)) {
      if constexpr (std::is_floating_point_v<Value>) return static_cast<Value>(number->doubleValue());
      return number->exactly<Value>();
    }
  }
  return std::nullopt;
}

/// The connection of a field with a setting. `Field` is the class of a toolkit's field adapter.
template <typename Field>
struct SettingConnection {
  /// Connects a field with a setting. Replaces the field's rule by the setting's rule. Replaces the field's handler of
  /// the end of editing by a handler that stores the object in the setting. Until the returned token is destroyed, the
  /// field shows each stored value, unless the field has an unfinished edit. The token must not outlive the field.
  template <FieldSetting Value>
  static ObservationToken make(Field& field, const Default<Value>& setting) {
    const auto isAllowed = [key = setting.key()](const std::any& object) {
      const std::optional<Value> value = settingIn<Value>(object);
      return value && key.allows(*value);
    };
    const auto store = [setting = setting](const std::any& object) mutable {
      const std::optional<Value> value = settingIn<Value>(object);
      if (value && *value != setting.value()) setting.setValue(*value);
    };
    FormattedFieldOf::get(field).connect(isAllowed, store);
    return follow<Value>([setting] { return setting.value(); },
                         [&field](const Value& value) {
                           const std::any& object = field.objectValue();
                           const bool isEdited = object.has_value() && field.isEdited();
                           if (!isEdited && settingIn<Value>(object) != value) field.setObjectValue(value);
                         });
  }
};

}  // namespace Tessaly::inline v1::detail
