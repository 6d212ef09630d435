// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Default.hpp"

namespace {

using namespace Tessaly;

void show(int) {}

void useASetting() {
  constexpr Default<int>::Key volumeKey{"volume", 50};
  Default<int> volume(volumeKey);
  volume.setValue(volume.value() + 10);
  auto observer = Default<int>::observe(volumeKey, [](int stored) { show(stored); });
}

void makeKeys() {
  constexpr Default<bool>::Key showsHiddenFiles{"shows-hidden-files", false};
  constexpr Default<std::optional<int>>::Key lastPage = "last-page";
  constexpr auto interval = Default<int>::Key("interval", 60).within(1, 3600);
  constexpr auto even = Default<int>::Key("even", 2).where([](int number) { return number % 2 == 0; });
}

constexpr Default<int>::Key volumeKey{"volume", 50};

void makeABacking() {
  auto backing = Default<int>::Backing::make(volumeKey, UserDefaults::standard());
  backing->setValue(30);
}

void makeAnObserver() {
  auto observer = Default<int>::ValueObserver::make(UserDefaults::standard(), volumeKey);
  observer->startObservingIfNeeded([](int stored) { show(stored); });
}

}  // namespace
