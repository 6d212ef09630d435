// SPDX-License-Identifier: MIT
// clang-format off: an example stands as it does in its header.
#include "Tessaly/SettingsAndObservation/AnyOptional.hpp"

namespace {

using namespace Tessaly;

void ask() {
  bool isAbsent = AnyOptionalTraits<std::optional<int>>::isNil(std::nullopt);
}

}  // namespace
