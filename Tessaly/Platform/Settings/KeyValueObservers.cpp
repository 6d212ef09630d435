// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/detail/KeyValueObservers.hpp"

#include "Tessaly/Platform/Tasks/Notification.hpp"
#include "Tessaly/Platform/Text/UTF8.hpp"

namespace Tessaly::inline v1::detail {

KeyValueObservers::KeyValueObservers() = default;
KeyValueObservers::~KeyValueObservers() = default;

void KeyValueObservers::add(const std::shared_ptr<KeyValueObserver>& observer, std::optional<std::string_view> key,
                            KeyValueObservingOptions options, void* context) {
  Registration registration{.observer = observer,
                            .address = observer.get(),
                            .key = key ? std::optional(std::string(*key)) : std::nullopt,
                            .replacement = std::nullopt,
                            .options = options,
                            .context = context};
  if (key && !Text::isWellFormed(*key)) registration.replacement = Text::sanitized(*key);
  const UnfairLock::Guard guard(lock_);
  registrations_.push_back(std::move(registration));
  count_.store(registrations_.size(), std::memory_order_release);
}

void KeyValueObservers::remove(const KeyValueObserver& observer, std::optional<std::string_view> key) noexcept {
  Registration removed{};
  const UnfairLock::Guard guard(lock_);
  for (auto i = registrations_.size(); i > 0; --i) {
    Registration& registration = registrations_[i - 1];
    if (registration.address != &observer || registration.key != key) continue;
    removed = std::move(registration);
    registrations_.erase(registrations_.begin() + static_cast<std::ptrdiff_t>(i - 1));
    count_.store(registrations_.size(), std::memory_order_release);
    return;
  }
}

void KeyValueObservers::notify(const Object& store, std::string_view key, const std::optional<PropertyList>& newValue,
                               ChangeOrigin origin) const noexcept {
  if (count_.load(std::memory_order_acquire) == 0) return;
  struct Call {
    std::shared_ptr<KeyValueObserver> observer;
    /// The key as the observer names it, should that differ.
    std::optional<std::string> key;
    KeyValueObservingOptions options;
    void* context;
  };
  std::vector<Call> calls;
  {
    const UnfairLock::Guard guard(lock_);
    for (const Registration& registration : registrations_) {
      const bool isReplaced = registration.replacement == key;
      if (registration.key && *registration.key != key && !isReplaced) continue;
      if (auto observer = registration.observer.lock()) {
        calls.push_back({std::move(observer), isReplaced ? registration.key : std::nullopt, registration.options,
                         registration.context});
      }
    }
  }
  for (Call& call : calls) {
    std::optional<KeyValueChange> change(KeyValueChange{.newValue = std::nullopt, .origin = origin});
    if (call.options == KeyValueObservingOptions::newValue) change->newValue.emplace(newValue);
    auto tell = [&] { call.observer->observeValue(call.key ? *call.key : key, &store, change, call.context); };
    callNotification("A settings observer", tell);
    call.observer.reset();  // Here, so that an observer whose last holder this was is gone before the next is told.
  }
}

}  // namespace Tessaly::inline v1::detail
