// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Foundation/UUID.hpp"

namespace Tessaly {

void showUUID() {
  UUID id = UUID::random();
  std::optional<UUID> same = UUID::from(id.uuidString());
}

}  // namespace Tessaly
