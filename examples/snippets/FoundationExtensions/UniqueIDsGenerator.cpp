// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/UniqueIDsGenerator.hpp"

namespace {

using namespace Tessaly;

void show() {
  UniqueIDsGenerator generator(0);
  const std::int64_t first = generator.next();  // 1
}

}  // namespace
