// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Digests.hpp"

#include <optional>
#include <vector>

namespace Tessaly {

struct Connection {
  std::optional<std::vector<std::uint8_t>> read();
};

void digestOfAConnection(Connection& connection) {
  DigestHasher<SHA256Digest> hasher;
  while (auto piece = connection.read()) hasher.update(*piece);
  SHA256Digest digest = hasher.finalize();
}

}  // namespace Tessaly
