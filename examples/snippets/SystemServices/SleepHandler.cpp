// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/SleepHandler.hpp"

namespace Tessaly {

void play();

void playAFilm() {
  if (SleepHandler::shared()->disableScreenSleep("Playing a film")) {
    play();
    SleepHandler::shared()->enableScreenSleep();
  }
}

}  // namespace Tessaly
