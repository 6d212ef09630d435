// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1::String {

/// The characters of the Return and Escape keys.
struct Key {
  std::string_view enter = "\r";
  std::string_view escape = "\x1B";

  friend bool operator==(const Key&, const Key&) noexcept = default;
};

/// The characters that the Return and Escape keys produce.
///
///     const bool isConfirmed = typed == String::key.enter;
inline constexpr Key key{};

}  // namespace Tessaly::inline v1::String
