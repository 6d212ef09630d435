// SPDX-License-Identifier: MIT
#include <optional>
#include <string_view>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/FoundationExtensions/UTType+Extensions.hpp"
#include "Tessaly/FoundationExtensions/detail/RequiredType.hpp"

namespace Tessaly::inline v1 {

UTType detail::requiredType(std::string_view extension, const UTType& conformingTo) {
  const std::optional<UTType> type = UTType::fromFilenameExtension(extension, conformingTo);
  if (!type) {
    const std::string message = "There is no type of the extension \"" + std::string(extension) + "\"";
    fatalError(message, "Tessaly/UTType+Extensions", __LINE__);
  }
  return *type;
}

const UTType& detail::SharedFileTypes::csv() {
  static const UTType& type = *new UTType(requiredType("csv", UTType::text()));
  return type;
}

const UTType& detail::SharedFileTypes::cdg() {
  static const UTType& type = *new UTType(requiredType("cdg", UTType::data()));
  return type;
}

const UTType& detail::SharedFileTypes::ogg() {
  static const UTType& type = *new UTType(requiredType("ogg", UTType::data()));
  return type;
}

std::string fileExtension(const UTType& type) { return type.preferredFilenameExtension().value_or(type.identifier()); }

std::string mimeType(const UTType& type) { return type.preferredMIMEType().value_or(type.identifier()); }

}  // namespace Tessaly::inline v1
