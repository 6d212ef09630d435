// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Default.hpp"

#include <string>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::string_view file = "Tessaly/Default";

}  // namespace

void registerSettingClasses() {
  [[maybe_unused]] static const bool isDone = [] {
    Object::registerClassWithoutInitializer("Tessaly.Backing", file, __LINE__);
    Object::registerClassWithoutInitializer("Tessaly.ValueObserver", file, __LINE__);
    return true;
  }();
}

void stopMakingABacking() noexcept { Object::stopUnimplementedInitializer("Tessaly.Backing", file, __LINE__); }

void stopMakingAValueObserver() noexcept {
  Object::stopUnimplementedInitializer("Tessaly.ValueObserver", file, __LINE__);
}

void stopAtRuleThatForbidsTheDefault(std::string_view setting) noexcept {
  fatalError("The rule of the setting \"" + std::string(setting) + "\" forbids its default value", file, __LINE__);
}

void stopAtEmptyRange(std::string_view setting) noexcept {
  fatalError("The range of the setting \"" + std::string(setting) +
                 "\" contains no value; its lowest value is above its highest",
             file, __LINE__);
}

void logForbiddenSetting(std::string_view setting) noexcept {
  logPlatformError("Default", "A value that the rule of the setting \"" + std::string(setting) +
                                  "\" forbids was not stored; the former value stays");
}

}  // namespace Tessaly::inline v1::detail

extern "C" {

// Makes the classes known to `Object::make` before their first object.
TESSALY_EXPORT void tessaly_register_Tessaly_Backing() { Tessaly::detail::registerSettingClasses(); }
TESSALY_EXPORT void tessaly_register_Tessaly_ValueObserver() { Tessaly::detail::registerSettingClasses(); }
}
