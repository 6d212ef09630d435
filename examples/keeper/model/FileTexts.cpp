// SPDX-License-Identifier: MIT
#include "FileTexts.hpp"

#include <cstdint>
#include <string_view>

#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Core/Foundation/UTType.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/FoundationExtensions/UTType+LocalizedDescription.hpp"

namespace keeper {

using namespace Tessaly;

std::string nameOf(const File& file) { return file.name; }

std::string sizeOf(const File& file) {
  return file.attributes.type == FileType::directory ? "—" : FormattingService::Bytes::string(file.attributes.size);
}

std::string kindOf(const File& file) {
  if (file.attributes.type == FileType::directory) return localizedDescription(UTType::folder());
  const std::size_t dot = file.name.rfind('.');
  const std::string extension = dot == std::string::npos || dot == 0 ? "" : file.name.substr(dot + 1);
  const auto type = UTType::fromFilenameExtension(extension);
  return localizedDescription(type ? *type : UTType::data());
}

std::string dateOf(const File& file) {
  return FormattingService::Date::relative(file.attributes.modified, DateFormatter::Style::medium, true, true);
}

std::string counted(Word noun, std::size_t count) {
  return text(noun) + (": " + NumberFormatStyle().format(static_cast<std::int64_t>(count)));
}

}  // namespace keeper
