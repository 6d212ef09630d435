// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/AnyOptional.hpp"

namespace {

using namespace Tessaly;

void ask() {
  bool isAbsent = AnyOptionalTraits<std::optional<int>>::isNil(std::nullopt);
}

}  // namespace
