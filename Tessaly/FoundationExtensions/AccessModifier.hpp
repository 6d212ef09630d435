// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string_view>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// The visibility of a declaration in source code: one of five, each with its keyword.
///
/// The five cases are constants of the class. A `switch` accepts these constants like the cases of an enumeration.
///
/// Thread contract: thread-safe.
///
///     const std::optional<AccessModifier> modifier = AccessModifier::from("private");
///     if (modifier == AccessModifier::private_) std::cout << modifier->rawValue();  // private
class AccessModifier {
 public:
  enum class Case : std::uint8_t { public_, private_, internal, fileprivate, package };

  static const AccessModifier public_;
  static const AccessModifier private_;
  static const AccessModifier internal;
  static const AccessModifier fileprivate;
  static const AccessModifier package;

  /// The modifier with exactly this keyword. Absent for any other text.
  [[nodiscard]] static constexpr std::optional<AccessModifier> from(std::string_view rawValue) noexcept {
    for (std::size_t index = 0; index < keywords.size(); ++index) {
      if (keywords[index] == rawValue) return AccessModifier(static_cast<Case>(index));
    }
    return std::nullopt;
  }

  /// The keyword: "public", "private", "internal", "fileprivate" or "package".
  [[nodiscard]] constexpr std::string_view rawValue() const noexcept {
    return keywords[static_cast<std::size_t>(case_)];
  }

  // NOLINTNEXTLINE(google-explicit-constructor): a `switch` needs the implicit conversion.
  constexpr operator Case() const noexcept { return case_; }
  friend constexpr bool operator==(AccessModifier, AccessModifier) noexcept = default;
  friend std::ostream& operator<<(std::ostream& stream, AccessModifier modifier) {
    return stream << modifier.rawValue();
  }

 private:
  explicit constexpr AccessModifier(Case value) noexcept : case_(value) {}

  static constexpr std::array<std::string_view, 5> keywords{"public", "private", "internal", "fileprivate", "package"};

  Case case_;
};

inline constexpr AccessModifier AccessModifier::public_{Case::public_};
inline constexpr AccessModifier AccessModifier::private_{Case::private_};
inline constexpr AccessModifier AccessModifier::internal{Case::internal};
inline constexpr AccessModifier AccessModifier::fileprivate{Case::fileprivate};
inline constexpr AccessModifier AccessModifier::package{Case::package};

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::AccessModifier> {
  std::size_t operator()(Tessaly::AccessModifier modifier) const noexcept {
    return static_cast<std::size_t>(static_cast<Tessaly::AccessModifier::Case>(modifier));
  }
};
