// SPDX-License-Identifier: MIT
// Component: Tessaly::Settings
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"

namespace Tessaly::inline v1 {

/// The published description of a setting, for people and for programs other than the host. The store does not check
/// values against the description. `Default::Key::described` makes a description.
///
/// Thread contract: thread-compatible.
///
///     SettingDescription volume{.name = "volume", .kind = PropertyList::Kind::integer, .maximum = 100};
///     bool isAllowed = volume.allows(150);  // False.
struct SettingDescription {
  std::string name = {};
  /// The kind of the stored value.
  PropertyList::Kind kind = PropertyList::Kind::text;
  /// No value if the setting is absent by default.
  std::optional<PropertyList> defaultValue = std::nullopt;
  std::optional<PropertyList> minimum = std::nullopt;
  std::optional<PropertyList> maximum = std::nullopt;
  /// The values that represent the cases of an enumeration in the store; empty for any other type.
  std::vector<PropertyList> cases = {};
  /// Whether the host also checks values with a function, which other programs cannot call.
  bool hasPredicate = false;
  /// One line for people.
  std::string documentation = {};

  /// Whether kind, range and cases allow the stored value. Does not call a predicate.
  [[nodiscard]] TESSALY_EXPORT bool allows(const PropertyList& stored) const;
  /// A text such as `integer from 1 to 3600, default 60`.
  [[nodiscard]] TESSALY_EXPORT std::string summary() const;

  friend bool operator==(const SettingDescription&, const SettingDescription&) = default;
};

}  // namespace Tessaly::inline v1
