// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/SleepHandler.hpp"

#include "Tessaly/Platform/Power/PowerBackend.hpp"

namespace Tessaly::inline v1 {

const std::shared_ptr<SleepHandler>& SleepHandler::shared() {
  static const auto& shared = *new std::shared_ptr<SleepHandler>(new SleepHandler);
  return shared;
}

bool SleepHandler::disableScreenSleep(std::string_view reason) {
  if (isIdleDisplaySleepDisabled_) return false;
  isIdleDisplaySleepDisabled_ = PowerBackend::current().createAssertion(
                                    PowerBackend::noDisplaySleep, PowerBackend::levelOn, reason, assertionID_) == 0;
  return isIdleDisplaySleepDisabled_;
}

bool SleepHandler::enableScreenSleep() {
  if (!isIdleDisplaySleepDisabled_) return false;
  if (PowerBackend::current().releaseAssertion(assertionID_) != 0) return false;
  isIdleDisplaySleepDisabled_ = false;
  return true;
}

}  // namespace Tessaly::inline v1
