// SPDX-License-Identifier: MIT
#include "Sharing.hpp"

#include <string>

#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/SystemServices/ExportService.hpp"

namespace keeper {

using namespace Tessaly;

Data table(const Files& files) {
  ExportService::Table rows{{"Name", "Size", "Modified"}};
  for (const auto& file : files) {
    rows.push_back({file->name, std::to_string(file->attributes.size),
                    FormattingService::Date::iso8601(file->attributes.modified)});
  }
  return ExportService::rfc4180CSV(rows);
}

}  // namespace keeper
