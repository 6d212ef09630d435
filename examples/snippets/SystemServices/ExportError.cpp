// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/ExportError.hpp"

#include <iostream>

#include "Tessaly/SystemServices/ExportService.hpp"

namespace Tessaly {

void showExportError(const ExportService::Table& rows) {
  try {
    Data table = ExportService::csv(rows, ";");
  } catch (const ExportError& error) {
    if (error.illFormedCell) std::cerr << "Row " << error.illFormedCell->row << " is not UTF-8\n";
  }
}

}  // namespace Tessaly
