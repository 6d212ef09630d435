// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Notifications/NotificationCenter.hpp"

#include <algorithm>
#include <atomic>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"

namespace Tessaly::inline v1 {

struct NotificationCenter::Observer {
  Observer(Token token, std::optional<std::string> name, const std::shared_ptr<Object>& object, Handler handler)
      : token(token),
        name(std::move(name)),
        object(object.get()),
        isOwned(object.use_count() > 0),
        owner(object),
        handler(std::move(handler)) {}

  [[nodiscard]] bool wants(const Notification& notification) const {
    if (name && *name != notification.name) return false;
    if (object == nullptr) return true;
    // A new object at the address of a destroyed one does not match.
    return object == notification.object.get() && !(isOwned && owner.expired());
  }

  const Token token;
  const std::optional<std::string> name;
  /// Only compared: the object may be destroyed. Null if the observer wants all objects.
  const Object* const object;
  /// Whether the object has an owner. An object without an owner never counts as destroyed.
  const bool isOwned;
  const std::weak_ptr<Object> owner;
  const Handler handler;
  std::atomic<bool> isRemoved{false};
};

struct NotificationCenter::State {
  using Observers = std::vector<std::shared_ptr<Observer>>;

  UnfairLock lock;
  /// A change replaces the list, so that a post can iterate over the old one without the lock.
  std::shared_ptr<const Observers> observers TESSALY_GUARDED_BY(lock) = std::make_shared<const Observers>();
  std::uint64_t nextToken TESSALY_GUARDED_BY(lock) = 1;
};

NotificationCenter::NotificationCenter() : state_(std::make_shared<State>()) {}
NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::default_() noexcept {
  static NotificationCenter& center = *new NotificationCenter;
  return center;
}

NotificationCenter::Token NotificationCenter::addObserver(std::optional<std::string> name,
                                                          const std::shared_ptr<Object>& object, Handler handler) {
  return add(*state_, std::move(name), object, std::move(handler));
}

NotificationCenter::Token NotificationCenter::add(State& state, std::optional<std::string> name,
                                                  const std::shared_ptr<Object>& object, Handler handler) {
  std::shared_ptr<const State::Observers> before;  // The old list is destroyed outside the lock.
  UnfairLock::Guard guard(state.lock);
  const Token token{state.nextToken++};
  auto observers = std::make_shared<State::Observers>(*state.observers);
  observers->push_back(std::make_shared<Observer>(token, std::move(name), object, std::move(handler)));
  before = std::exchange(state.observers, std::move(observers));
  return token;
}

void NotificationCenter::removeObserver(Token token) { remove(*state_, token); }

void NotificationCenter::remove(State& state, Token token) {
  std::shared_ptr<const State::Observers> before;
  UnfairLock::Guard guard(state.lock);
  const auto found = std::ranges::find(*state.observers, token, [](const auto& observer) { return observer->token; });
  if (found == state.observers->end()) return;
  (*found)->isRemoved.store(true, std::memory_order_relaxed);
  auto observers = std::make_shared<State::Observers>(*state.observers);
  observers->erase(observers->begin() + (found - state.observers->begin()));
  before = std::exchange(state.observers, std::move(observers));
}

void NotificationCenter::post(const Notification& notification) const {
  std::shared_ptr<const State::Observers> observers;
  {
    UnfairLock::Guard guard(state_->lock);
    observers = state_->observers;
  }
  for (const auto& observer : *observers) {
    if (observer->isRemoved.load(std::memory_order_relaxed) || !observer->wants(notification)) continue;
    callNotification("An observer of notifications", observer->handler, notification);
  }
}

NotificationCenter::Notifications NotificationCenter::notifications(std::string name,
                                                                    const std::shared_ptr<Object>& object) {
  auto [stream, continuation] = AsyncStream<Notification>::makeStream();
  const Token token = addObserver(
      std::move(name), object, [continuation](const Notification& notification) { continuation.yield(notification); });
  continuation.setOnTermination([state = std::weak_ptr(state_), token](const StreamTermination&) {
    if (const auto center = state.lock()) remove(*center, token);
  });
  return Notifications(std::move(stream));
}

}  // namespace Tessaly::inline v1
