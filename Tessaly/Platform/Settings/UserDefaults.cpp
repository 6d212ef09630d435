// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/UserDefaults.hpp"

#include <atomic>
#include <cstdlib>
#include <deque>
#include <string>
#include <utility>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<const std::shared_ptr<UserDefaults>*> installed{nullptr};

const std::shared_ptr<UserDefaults>& keptUntilExit(std::shared_ptr<UserDefaults> store) {
  static auto& lock = *new UnfairLock;
  static auto& stores = *new std::deque<std::shared_ptr<UserDefaults>>;
  const UnfairLock::Guard guard(lock);
  return stores.emplace_back(std::move(store));
}

const std::shared_ptr<UserDefaults>& systemStore() {
  static const std::shared_ptr<UserDefaults>& shared = [] -> const std::shared_ptr<UserDefaults>& {
    const std::string identifier = Bundle::main().bundleIdentifier().value_or(ProcessInfo::processInfo().processName());
    static const auto store =
        new std::shared_ptr<JournaledUserDefaults>(JournaledUserDefaults::openIdentifier(identifier));
    std::atexit([] { (*store)->close(); });
    return *new std::shared_ptr<UserDefaults>(*store);
  }();
  return shared;
}

}  // namespace

KeyValueObserver::~KeyValueObserver() = default;

UserDefaults::~UserDefaults() = default;

std::string_view UserDefaults::className() const noexcept { return "Tessaly.UserDefaults"; }

std::uint64_t UserDefaults::revision() const noexcept { return 0; }

const std::shared_ptr<UserDefaults>& UserDefaults::standard() {
  if (const auto* store = installed.load(std::memory_order_acquire)) return *store;
  return systemStore();
}

UserDefaultsInstallation::UserDefaultsInstallation(std::shared_ptr<UserDefaults> store)
    : previous_(installed.exchange(&keptUntilExit(std::move(store)), std::memory_order_acq_rel)) {}

UserDefaultsInstallation::~UserDefaultsInstallation() { installed.store(previous_, std::memory_order_release); }

}  // namespace Tessaly::inline v1
