// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/ExportService.hpp"

namespace Tessaly {

void showExportService() {
  Data table = ExportService::csv({{"Name", "Size"}, {"a;b", "3"}}, ";");  // Name;Size\na\;b;3
}

}  // namespace Tessaly
