// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/UserDefaults.hpp"

#include <atomic>
#include <utility>

#include "Tessaly/Platform/Base/FatalError.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<const std::shared_ptr<UserDefaults>*> installed{nullptr};

}  // namespace

KeyValueObserver::~KeyValueObserver() = default;

UserDefaults::~UserDefaults() = default;

std::string_view UserDefaults::className() const noexcept { return "Tessaly.UserDefaults"; }

const std::shared_ptr<UserDefaults>& UserDefaults::standard() {
  if (const auto* store = installed.load(std::memory_order_acquire)) return *store;
  fatalError("There is no settings store on this system yet; install one", "Tessaly/UserDefaults", __LINE__);
}

UserDefaultsInstallation::UserDefaultsInstallation(std::shared_ptr<UserDefaults> store)
    : previous_(installed.exchange(new std::shared_ptr<UserDefaults>(std::move(store)), std::memory_order_acq_rel)) {}

UserDefaultsInstallation::~UserDefaultsInstallation() { installed.store(previous_, std::memory_order_release); }

}  // namespace Tessaly::inline v1
