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

/// The contents that this process offers to other programs, in several formats.
struct PasteboardContents {
  std::optional<std::string> string = std::nullopt;
  std::optional<std::string> url = std::nullopt;

  void set(std::string_view text, PasteboardType type);

  /// The names of the offered formats, best first. They are media types, and names of X11 selection targets.
  [[nodiscard]] TESSALY_EXPORT std::vector<const char*> forms() const;
  /// The contents in the format with the name `form`, or null if this format is not offered.
  [[nodiscard]] TESSALY_EXPORT std::shared_ptr<const std::string> bytes(std::string_view form) const;
};

}  // namespace Tessaly::inline v1::detail
