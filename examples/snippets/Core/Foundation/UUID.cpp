// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/UUID.hpp"

namespace Tessaly {

void showUUID() {
  UUID id = UUID::random();
  std::optional<UUID> same = UUID::from(id.uuidString());
}

}  // namespace Tessaly
