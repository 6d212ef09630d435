// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// A type that every system has, whatever its database says.
struct WellKnownType {
  std::string_view identifier;
  /// Empty for kinds of types, which no file has by itself.
  std::string_view mimeType;
  /// The preferred one; empty where there is none.
  std::string_view filenameExtension;
  /// What it conforms to; empty texts are none.
  std::array<std::string_view, 2> supertypes;
};

[[nodiscard]] std::span<const WellKnownType> wellKnownTypes() noexcept;
[[nodiscard]] const WellKnownType* wellKnownType(std::string_view identifier) noexcept;
[[nodiscard]] const WellKnownType* wellKnownTypeOfMIMEType(std::string_view mimeType) noexcept;

/// What the identifier of a type that nobody declared says: the type that it conforms to, and its extension.
struct DynamicType {
  std::string supertype;
  std::string filenameExtension;

  friend bool operator==(const DynamicType&, const DynamicType&) = default;
};

/// "dyn.a" and the packed text "?0=<supertype>:1=<extension>", in which a digit stands for the commonest supertypes.
[[nodiscard]] TESSALY_EXPORT std::string dynamicIdentifier(const DynamicType& type);
/// Reads such an identifier; nothing where it is none.
[[nodiscard]] TESSALY_EXPORT std::optional<DynamicType> dynamicType(std::string_view identifier);

}  // namespace Tessaly::inline v1::detail
