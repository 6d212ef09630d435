// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// A type that exists on every system, even without a database.
struct WellKnownType {
  std::string_view identifier;
  /// Empty for abstract types, which no file has directly.
  std::string_view mimeType;
  /// The preferred extension. Empty for a type without extensions.
  std::string_view filenameExtension;
  /// The supertypes. An empty text marks an unused place.
  std::array<std::string_view, 2> supertypes;
};

[[nodiscard]] std::span<const WellKnownType> wellKnownTypes() noexcept;
[[nodiscard]] const WellKnownType* wellKnownType(std::string_view identifier) noexcept;
[[nodiscard]] const WellKnownType* wellKnownTypeOfMIMEType(std::string_view mimeType) noexcept;

/// The contents of a dynamic identifier: the supertype and the extension of the dynamic type.
struct DynamicType {
  std::string supertype;
  std::string filenameExtension;

  friend bool operator==(const DynamicType&, const DynamicType&) = default;
};

/// The identifier of a dynamic type: "dyn.a", followed by the text "?0=<supertype>:1=<extension>" in a base-32
/// encoding. In that text, digits replace the most common supertypes.
[[nodiscard]] TESSALY_EXPORT std::string dynamicIdentifier(const DynamicType& type);
/// Parses the identifier of a dynamic type. Absent if the text is not such an identifier.
[[nodiscard]] TESSALY_EXPORT std::optional<DynamicType> dynamicType(std::string_view identifier);

}  // namespace Tessaly::inline v1::detail
