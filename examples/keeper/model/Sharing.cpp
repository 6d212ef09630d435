// SPDX-License-Identifier: MIT
#include "Sharing.hpp"

#include <string>

#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/SystemServices/ExportService.hpp"

namespace keeper {

using namespace Tessaly;

Data table(const Files& files) {
  ExportService::Table rows{{"Name", "Size", "Modified"}};
  for (const auto& file : files) {
    // The name of a file may be no UTF-8, a table is.
    rows.push_back({Text::sanitized(file->name), std::to_string(file->attributes.size),
                    FormattingService::Date::iso8601(file->attributes.modified)});
  }
  return ExportService::rfc4180CSV(rows);
}

}  // namespace keeper
