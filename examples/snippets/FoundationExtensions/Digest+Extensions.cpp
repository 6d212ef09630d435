// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/Digest+Extensions.hpp"

namespace Tessaly {

Async<void> showDigest(URL file, double& progress) {
  const auto digest = co_await digestOfFile<SHA256Digest>(file, [&](double part) { progress = part; });
}

}  // namespace Tessaly
