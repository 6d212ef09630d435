// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileChange.hpp"

#include <iostream>

#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly {

void showFileChange(const URL& file, void (*wakeConsumer)()) {
  auto source = FileManager::default_().makeFileChangeSource(file, [wakeConsumer] { wakeConsumer(); });
  while (auto change = source->takeChange()) std::cout << description(*change) << '\n';
}

}  // namespace Tessaly
