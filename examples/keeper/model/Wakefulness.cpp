// SPDX-License-Identifier: MIT
#include "Wakefulness.hpp"

#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SystemServices/SleepHandler.hpp"

namespace keeper {

using namespace Tessaly;

Wakefulness::Wakefulness() {
  Task<>({.isolation = isolation()}, [] { SleepHandler::shared()->disableScreenSleep("Keeper compares files"); });
}

Wakefulness::~Wakefulness() {
  Task<>({.isolation = isolation()}, [] { SleepHandler::shared()->enableScreenSleep(); });
}

const Isolation& Wakefulness::isolation() {
  static const Isolation isolation = Isolation::serial();
  return isolation;
}

}  // namespace keeper
