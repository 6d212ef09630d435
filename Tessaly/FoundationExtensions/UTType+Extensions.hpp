// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/UTType.hpp"

namespace Tessaly::inline v1 {

// Beside what is declared here, the source defines what UTType.hpp declares: `UTType::csv`, `cdg` and `ogg`. All are
// thread-safe.

/// The preferred extension of file names, or else the identifier.
[[nodiscard]] TESSALY_EXPORT std::string fileExtension(const UTType& type);
/// The preferred MIME type, or else the identifier.
[[nodiscard]] TESSALY_EXPORT std::string mimeType(const UTType& type);

}  // namespace Tessaly::inline v1
