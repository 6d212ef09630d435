// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/detail/KeyValueObservers.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::detail {

KeyValueObservers::KeyValueObservers() = default;
KeyValueObservers::~KeyValueObservers() = default;

void KeyValueObservers::add(const std::shared_ptr<KeyValueObserver>& observer, std::optional<std::string_view> key,
                            KeyValueObservingOptions options, void* context) {
  Registration registration{.observer = observer,
                            .address = observer.get(),
                            .illFormedKey = std::nullopt,
                            .options = options,
                            .context = context,
                            .number = 0};
  std::string storedKey(key.value_or(""));
  if (!Text::isWellFormed(storedKey)) {
    registration.illFormedKey = std::exchange(storedKey, Text::sanitized(*key));
  }
  const UnfairLock::Guard guard(lock_);
  registration.number = ++added_;
  Registrations& registrations = key ? ofKeys_[std::move(storedKey)] : ofEveryKey_;
  if (registrations.size() == registrations.capacity()) {
    // An observer that was destroyed without `remove` leaves its registration.
    const auto ended =
        std::erase_if(registrations, [](const Registration& former) { return former.observer.expired(); });
    count_.fetch_sub(ended, std::memory_order_relaxed);
  }
  registrations.push_back(std::move(registration));
  count_.fetch_add(1, std::memory_order_release);
}

void KeyValueObservers::remove(const KeyValueObserver& observer, std::optional<std::string_view> key) noexcept {
  const bool isIllFormed = key && !Text::isWellFormed(*key);
  const std::string replacement = isIllFormed ? Text::sanitized(*key) : std::string();
  Registration removed{};
  const UnfairLock::Guard guard(lock_);
  const auto found = key ? ofKeys_.find(isIllFormed ? std::string_view(replacement) : *key) : ofKeys_.end();
  if (key && found == ofKeys_.end()) return;
  Registrations& registrations = key ? found->second : ofEveryKey_;
  const auto last = std::find_if(registrations.rbegin(), registrations.rend(), [&](const Registration& registration) {
    return registration.address == &observer && registration.illFormedKey.has_value() == isIllFormed &&
           (!isIllFormed || registration.illFormedKey == key);
  });
  if (last == registrations.rend()) return;
  removed = std::move(*last);
  registrations.erase(std::next(last).base());
  if (key && registrations.empty()) ofKeys_.erase(found);
  count_.fetch_sub(1, std::memory_order_release);
  removals_.fetch_add(1, std::memory_order_release);
}

bool KeyValueObservers::isRegistered(std::string_view key, std::uint64_t number) const noexcept {
  const UnfairLock::Guard guard(lock_);
  const auto has = [number](const Registrations& registrations) {
    return std::ranges::binary_search(registrations, number, {}, &Registration::number);
  };
  const auto found = ofKeys_.find(key);
  return (found != ofKeys_.end() && has(found->second)) || has(ofEveryKey_);
}

void KeyValueObservers::notify(const Object& store, std::string_view key, const std::optional<PropertyList>& newValue,
                               ChangeOrigin origin) const noexcept {
  if (count_.load(std::memory_order_acquire) == 0) return;
  struct Call {
    std::weak_ptr<KeyValueObserver> observer;
    /// The key as the caller passed it, if the store uses another one.
    std::optional<std::string> key;
    KeyValueObservingOptions options;
    void* context;
    std::uint64_t number;
  };
  std::vector<Call> calls;
  const auto collect = [&](const Registrations& registrations) {
    for (const Registration& registration : registrations) {
      calls.push_back({registration.observer, registration.illFormedKey, registration.options, registration.context,
                       registration.number});
    }
  };
  std::uint64_t removals = 0;
  {
    const UnfairLock::Guard guard(lock_);
    removals = removals_.load(std::memory_order_relaxed);
    if (const auto found = ofKeys_.find(key); found != ofKeys_.end()) collect(found->second);
    if (!ofEveryKey_.empty()) {
      collect(ofEveryKey_);
      std::ranges::sort(calls, {}, &Call::number);
    }
  }
  for (const Call& call : calls) {
    const auto observer = call.observer.lock();
    if (observer == nullptr) continue;
    if (removals_.load(std::memory_order_acquire) != removals && !isRegistered(key, call.number)) continue;
    std::optional<KeyValueChange> change(KeyValueChange{.newValue = std::nullopt, .origin = origin});
    if (call.options == KeyValueObservingOptions::newValue) change->newValue.emplace(newValue);
    auto tell = [&] { observer->observeValue(call.key ? *call.key : key, &store, change, call.context); };
    callNotification("A settings observer", tell);
  }
}

}  // namespace Tessaly::inline v1::detail
