// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/ExportError.hpp"

#include <utility>

namespace Tessaly::inline v1 {

ExportError::ExportError(std::string description) : errorDescription(std::move(description)) {}

ExportError::~ExportError() = default;

std::string ExportError::description() const {
  std::string text = "ExportError(errorDescription: \"";
  for (const char character : errorDescription) {
    switch (character) {
      case '"':
      case '\\':
        text += {'\\', character};
        break;
      case '\n':
        text += "\\n";
        break;
      case '\r':
        text += "\\r";
        break;
      case '\t':
        text += "\\t";
        break;
      case '\0':
        text += "\\0";
        break;
      default:
        text += character;
    }
  }
  return text += "\")";
}

std::string ExportError::localizedDescription() const { return errorDescription; }

}  // namespace Tessaly::inline v1
