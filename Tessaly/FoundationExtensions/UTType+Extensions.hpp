// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/UTType.hpp"

namespace Tessaly::inline v1 {

/// The definitions of `UTType::csv`, `cdg` and `ogg`.
struct detail::SharedFileTypes {
  [[nodiscard]] TESSALY_EXPORT static const UTType& csv();
  [[nodiscard]] TESSALY_EXPORT static const UTType& cdg();
  [[nodiscard]] TESSALY_EXPORT static const UTType& ogg();
};

// All functions of this header are thread-safe.

/// The preferred file name extension, else the identifier.
[[nodiscard]] TESSALY_EXPORT std::string fileExtension(const UTType& type);
/// The preferred MIME type, else the identifier.
[[nodiscard]] TESSALY_EXPORT std::string mimeType(const UTType& type);

}  // namespace Tessaly::inline v1
