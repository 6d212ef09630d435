// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/PasteboardService.hpp"

namespace Tessaly {

void copyAText() {
  PasteboardService::write("to paste");
}

void copyALink() {
  PasteboardService::write(URL::from("https://example.com/").value());
}

}  // namespace Tessaly
