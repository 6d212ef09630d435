// SPDX-License-Identifier: MIT
// Component: Tessaly::Observation
#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Observation/KeyPath.hpp"
#include "Tessaly/Core/Observation/detail/ChangeFollower.hpp"
#include "Tessaly/Core/Tasks/detail/Notification.hpp"
#include "Tessaly/Core/Tasks/detail/TaskReference.hpp"

namespace Tessaly::inline v1 {

/// What an observer of a property wants to be given. A set: put together with `|`.
enum class NSKeyValueObservingOptions : std::uint8_t {
  none = 0,
  /// The new value, with each change (and with the initial record).
  new_ = 1,
  /// The value before, with each change.
  old = 2,
  /// A first record at once, before `observe` returns.
  initial = 4,
};

[[nodiscard]] constexpr NSKeyValueObservingOptions operator|(NSKeyValueObservingOptions left,
                                                             NSKeyValueObservingOptions right) noexcept {
  return static_cast<NSKeyValueObservingOptions>(static_cast<unsigned>(left) | static_cast<unsigned>(right));
}
/// Whether the set has all of these.
[[nodiscard]] constexpr bool contains(NSKeyValueObservingOptions set, NSKeyValueObservingOptions options) noexcept {
  return (static_cast<unsigned>(set) & static_cast<unsigned>(options)) == static_cast<unsigned>(options);
}

/// What happened to a property.
enum class NSKeyValueChange : std::uint8_t {
  /// It was assigned, or computes to something that may be another value.
  setting = 1,
};

/// What an observer is told of one change. The values are there if they were asked for.
template <typename Value>
struct NSKeyValueObservedChange {
  NSKeyValueChange kind = NSKeyValueChange::setting;
  std::optional<Value> newValue;
  std::optional<Value> oldValue;
};

/// Owns the observation of a property, made by `observe`: it lasts as long as this.
///
/// Object and observation may end in either order, on any threads.
///
/// Thread contract: thread-compatible.
///
///     auto options = NSKeyValueObservingOptions::new_ | NSKeyValueObservingOptions::old;
///     NSKeyValueObservation volume = observe(player, keyPath<&Player::volume>, options, [](const auto& change) {
///       show(*change.oldValue, *change.newValue);
///     });
///     volume.invalidate();
class NSKeyValueObservation {
 public:
  /// Observes nothing.
  NSKeyValueObservation() noexcept = default;
  /// For the library: use `observe`.
  explicit NSKeyValueObservation(detail::TaskReference<detail::ChangeFollower> follower) noexcept
      : follower_(std::move(follower)) {}
  NSKeyValueObservation(NSKeyValueObservation&&) noexcept = default;
  NSKeyValueObservation& operator=(NSKeyValueObservation&& other) noexcept {
    if (this != &other) {
      invalidate();
      follower_ = std::move(other.follower_);
    }
    return *this;
  }
  ~NSKeyValueObservation() { invalidate(); }

  /// Ends the observation. The handler is not called afterwards, and if it is being called on another thread, this
  /// waits until it has returned. It may be called by the handler itself. Idempotent.
  void invalidate() noexcept {
    if (const auto follower = std::exchange(follower_, {})) follower->stop();
  }

 private:
  detail::TaskReference<detail::ChangeFollower> follower_;
};

namespace detail {

template <typename Object, typename Root, typename Value, typename Handler>
class PropertyObserver final : public ChangeFollower {
 public:
  PropertyObserver(const std::shared_ptr<Object>& object, const KeyPath<Root, Value>& keyPath,
                   NSKeyValueObservingOptions options, Handler handler)
      : object_(object), keyPath_(keyPath), options_(options), handler_(std::move(handler)) {}

 private:
  void follow(Occasion occasion) override {
    // A stored property is all that is read of it.
    const bool isTheSame = occasion == Occasion::change && !keyPath_.isComputed();
    NSKeyValueObservedChange<Value> change;
    if (isTheSame && !wantsValues()) {
      if (object_.expired()) return;
      trackTheSame();
    } else {
      const auto object = object_.lock();
      if (object == nullptr) return;
      const auto read = [&] {
        if (wantsValues()) {
          change.newValue = keyPath_.read(*object);
        } else {
          keyPath_.access(*object);
        }
      };
      if (isTheSame) {
        read();
        trackTheSame();
      } else {
        track(read);
      }
    }
    if (has(NSKeyValueObservingOptions::old)) {
      std::optional<Value> before = std::exchange(last_, change.newValue);
      if (occasion == Occasion::change) change.oldValue = std::move(before);
    }
    if (occasion == Occasion::start && !has(NSKeyValueObservingOptions::initial)) return;
    if (!has(NSKeyValueObservingOptions::new_)) change.newValue.reset();
    callNotification("The handler of a property's observation", *handler_, std::as_const(change));
  }
  void letGo() noexcept override { handler_.reset(); }
  [[nodiscard]] bool wantsValues() const noexcept {
    return has(NSKeyValueObservingOptions::new_) || has(NSKeyValueObservingOptions::old);
  }
  [[nodiscard]] bool has(NSKeyValueObservingOptions option) const noexcept { return contains(options_, option); }

  const std::weak_ptr<Object> object_;
  const KeyPath<Root, Value> keyPath_;
  const NSKeyValueObservingOptions options_;
  std::optional<Value> last_;
  std::optional<Handler> handler_;
};

}  // namespace detail

/// Calls the handler after each change of an object's property, synchronously on the changing thread, outside every
/// lock, until the returned observation ends. The object is held weakly; its end ends the observation without a call.
///
/// The property is a `Property`, or is computed from properties by a member function: then a change of any of those is
/// a change of it, and the function is called on the changing thread. Each assignment is a change, of an equal value,
/// too. A plain data member is never told to have changed.
///
/// A throw out of the handler stops the process.
///
/// Thread contract: thread-safe. Changes on several threads at once may be told as one, the last value always.
template <typename Object, typename Root, typename Value, typename Handler>
  requires(std::derived_from<Object, Root> && std::invocable<Handler&, const NSKeyValueObservedChange<Value>&>)
[[nodiscard("the observation lasts as long as what is returned")]] NSKeyValueObservation observe(
    const std::shared_ptr<Object>& object, const KeyPath<Root, Value>& keyPath, NSKeyValueObservingOptions options,
    Handler handler) {
  using Observer = detail::PropertyObserver<Object, Root, Value, Handler>;
  auto observer =
      detail::TaskReference<detail::ChangeFollower>::adopt(new Observer(object, keyPath, options, std::move(handler)));
  observer->start();
  return NSKeyValueObservation(std::move(observer));
}

}  // namespace Tessaly::inline v1
