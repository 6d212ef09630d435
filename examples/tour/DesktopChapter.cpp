// SPDX-License-Identifier: MIT
#include <exception>
#include <string>

#include "Chapters.hpp"
#include "Tessaly/Platform/Authentication/AuthenticationBackend.hpp"
#include "Tessaly/Platform/Authentication/LAError.hpp"
#include "Tessaly/Platform/Device/DeviceBackend.hpp"
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"
#include "Tessaly/Platform/Power/PowerBackend.hpp"
#include "Tessaly/SystemServices/DeviceService.hpp"
#include "Tessaly/SystemServices/MathService.hpp"
#include "Tessaly/SystemServices/SleepHandler.hpp"

namespace Tour {
namespace {

using namespace Tessaly;

void tellOfTheDevice(Narrator& narrator) {
  const std::string name = DeviceService::deviceName();
  narrator.say(name.empty() ? "Nobody on this machine says what model it is" : text("This is a ", name));
  narrator.check(name.empty() == (DeviceBackend::current().source() == DeviceSource::none),
                 "The model is known exactly where somebody says it");
}

void tellOfSleep(Narrator& narrator) {
  SleepHandler& handler = *SleepHandler::shared();
  const bool isAwake = handler.disableScreenSleep("The tour is being watched");
  const PowerStatus status = PowerBackend::current().status();
  if (isAwake) {
    narrator.say(text("Number ", status.attempts.size(), " of those who were asked keeps the display awake"));
  } else {
    narrator.say(
        text("This machine lacks everybody who could keep a display awake: ", status.attempts.size(), " were asked"));
  }
  narrator.check(isAwake == (status.service != PowerService::none) && handler.isIdleDisplaySleepDisabled() == isAwake,
                 "What the handler says is what the system did");
  const bool isGivenBack = handler.enableScreenSleep();
  narrator.check(isGivenBack == isAwake && !handler.isIdleDisplaySleepDisabled(), "What was taken was given back");
}

void tellOfInterpolation(Narrator& narrator) {
  const double level = MathService::Interpolation::linear(5, 0, 0, 10, 100);
  narrator.check(level == 50 && MathService::Interpolation::linear(20, 0, 0, 10, 100) == 200,
                 "Halfway between 0 and 100 is 50, and twice the way 200");
}

void tellOfAuthentication(Narrator& narrator) {
  // Only the possibility is checked, because no viewer of a tour wants to type a password.
  std::exception_ptr obstacle;
  const auto context = AuthenticationBackend::current().makeContext();
  if (context->canEvaluatePolicy(LAPolicy::deviceOwnerAuthentication, obstacle)) {
    narrator.say("The user could be asked to authenticate");
    return;
  }
  try {
    std::rethrow_exception(obstacle);
  } catch (const LAError& error) {
    narrator.say(text("The user cannot be asked to authenticate: ", error.userInfo().at("description")));
    narrator.check(error.failure() != LAFailure::unknown, "The system says why");
  }
}

void tellOfThePasteboard(Narrator& narrator) {
  // The pasteboard belongs to the user, so the tour only reads it.
  const PasteboardStatus status = PasteboardBackend::current().status();
  narrator.check(!status.isOwner, "Nothing was put on the pasteboard that nobody asked for");
}

}  // namespace

void tellOfTheDesktop(Narrator& narrator) {
  tellOfTheDevice(narrator);
  tellOfSleep(narrator);
  tellOfInterpolation(narrator);
  tellOfAuthentication(narrator);
  tellOfThePasteboard(narrator);
}

}  // namespace Tour
