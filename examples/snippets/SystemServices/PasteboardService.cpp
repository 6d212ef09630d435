// SPDX-License-Identifier: MIT
// clang-format off: an example stands as it does in its header.
#include "Tessaly/SystemServices/PasteboardService.hpp"

namespace Tessaly {

void copyAText() {
  PasteboardService::write("to paste");
}

void copyALink() {
  PasteboardService::write(URL::from("https://example.com/").value());
}

}  // namespace Tessaly
