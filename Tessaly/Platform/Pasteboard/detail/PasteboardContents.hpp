// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"

namespace Tessaly::inline v1::detail {

/// The contents that are offered to other programs, in several forms.
struct PasteboardContents {
  std::optional<std::string> string = std::nullopt;
  std::optional<std::string> url = std::nullopt;

  void set(std::string_view text, PasteboardType type);

  /// The names of the forms, best first: media types, and the names that X programs use.
  [[nodiscard]] TESSALY_EXPORT std::vector<const char*> forms() const;
  /// The bytes of a form, or null if the form is not offered.
  [[nodiscard]] TESSALY_EXPORT std::shared_ptr<const std::string> bytes(std::string_view form) const;
};

}  // namespace Tessaly::inline v1::detail
