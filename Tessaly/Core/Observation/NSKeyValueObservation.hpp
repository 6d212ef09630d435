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

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Observation/KeyPath.hpp"
#include "Tessaly/Core/Observation/detail/ComputedObserver.hpp"
#include "Tessaly/Core/Observation/detail/PointObserver.hpp"

namespace Tessaly::inline v1 {

/// A set of options for an observer of a property: the values in each change record, and an additional initial record.
/// `|` combines sets.
enum class NSKeyValueObservingOptions : std::uint8_t {
  none = 0,
  /// The new value, with each change (and with the initial record).
  new_ = 1,
  /// The previous value, with each change.
  old = 2,
  /// An initial record, normally before `observe` returns. If another thread changes a `Property` at that moment, that
  /// thread may deliver the initial record after `observe` has returned.
  initial = 4,
};

[[nodiscard]] constexpr NSKeyValueObservingOptions operator|(NSKeyValueObservingOptions left,
                                                             NSKeyValueObservingOptions right) noexcept {
  return static_cast<NSKeyValueObservingOptions>(static_cast<unsigned>(left) | static_cast<unsigned>(right));
}
/// Whether the set has all the given options.
[[nodiscard]] constexpr bool contains(NSKeyValueObservingOptions set, NSKeyValueObservingOptions options) noexcept {
  return (static_cast<unsigned>(set) & static_cast<unsigned>(options)) == static_cast<unsigned>(options);
}

/// The kind of a change of a property.
enum class NSKeyValueChange : std::uint8_t {
  /// The property was assigned, or its computed value may have changed.
  setting = 1,
};

/// The record of one change for an observer, or its initial record. It contains the values that the observer requested.
/// The initial record has no old value.
template <typename Value>
struct NSKeyValueObservedChange {
  NSKeyValueChange kind = NSKeyValueChange::setting;
  std::optional<Value> newValue;
  std::optional<Value> oldValue;
};

/// Owns an observation of a property. The observation lasts until `invalidate()` is called or this object is destroyed.
/// `observe` makes such an object.
///
/// The observed object and the observation may end in either order, on any threads.
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
  /// For the library. Other code uses `observe`.
  explicit NSKeyValueObservation(Retained<detail::Observer> observer) noexcept : observer_(std::move(observer)) {}
  NSKeyValueObservation(NSKeyValueObservation&&) noexcept = default;
  NSKeyValueObservation& operator=(NSKeyValueObservation&& other) noexcept {
    if (this != &other) {
      invalidate();
      observer_ = std::move(other.observer_);
    }
    return *this;
  }
  ~NSKeyValueObservation() { invalidate(); }

  /// Ends the observation. If another thread is calling the handler, waits for the end of that call. No call of the
  /// handler begins afterwards. The handler may call this function. A second call of this function does nothing.
  void invalidate() noexcept {
    if (const auto observer = std::exchange(observer_, {})) observer->stop();
  }

 private:
  Retained<detail::Observer> observer_;
};

namespace detail {

/// The observed property, and the handler.
template <typename Object, typename Root, typename Value, typename Handler>
class ObservedProperty {
 public:
  using Reading = std::optional<Value>;

  ObservedProperty(const std::shared_ptr<Object>& object, const KeyPath<Root, Value>& keyPath,
                   NSKeyValueObservingOptions options, Handler handler)
      : object_(object), keyPath_(keyPath), options_(options), handler_(std::move(handler)) {}

  [[nodiscard]] bool wantsValues() const noexcept {
    return has(NSKeyValueObservingOptions::new_) || has(NSKeyValueObservingOptions::old);
  }
  [[nodiscard]] bool has(NSKeyValueObservingOptions option) const noexcept { return contains(options_, option); }
  [[nodiscard]] bool isExpired() const noexcept { return object_.expired(); }
  [[nodiscard]] std::shared_ptr<Object> object() const noexcept { return object_.lock(); }

  /// Reads and returns the property's value if the observer requested new or old values. Otherwise only records a read.
  [[nodiscard]] std::optional<Value> read(const Object& object) const {
    if (wantsValues()) return keyPath_.read(object);
    keyPath_.access(object);
    return std::nullopt;
  }
  /// Reports a change to the handler.
  void tell(std::optional<Value> value) {
    NSKeyValueObservedChange<Value> change;
    if (has(NSKeyValueObservingOptions::old)) change.oldValue = std::exchange(last_, value);
    if (has(NSKeyValueObservingOptions::new_)) change.newValue = std::move(value);
    call(change);
  }
  /// Stores `value` as the old value of the first change, if old values were requested. Reports the initial record if
  /// it was requested. That record has no old value.
  void begin(std::optional<Value> value) {
    NSKeyValueObservedChange<Value> change;
    if (has(NSKeyValueObservingOptions::old)) last_ = value;
    if (!has(NSKeyValueObservingOptions::initial)) return;
    if (has(NSKeyValueObservingOptions::new_)) change.newValue = std::move(value);
    call(change);
  }
  void discard() noexcept { handler_.reset(); }

 private:
  void call(const NSKeyValueObservedChange<Value>& change) noexcept {
    callNotification("The handler of a property's observation", *handler_, change);
  }

  const std::weak_ptr<Object> object_;
  const KeyPath<Root, Value> keyPath_;
  const NSKeyValueObservingOptions options_;
  std::optional<Value> last_;
  std::optional<Handler> handler_;
};

/// Observes a stored property: a `Property`, or a plain data member. Reading a stored property has no side effects.
template <typename Observed>
class StoredPropertyObserver final : public PointObserver {
 public:
  explicit StoredPropertyObserver(Observed observed) : observed_(std::move(observed)) {}

  template <typename Object>
  void start(const Object& object) {
    const WithoutTracking untracked;
    AccessList accesses;
    auto value = observed_.read(object);
    accesses.end();
    // A plain data member announces no changes.
    const std::optional<Access> access = accesses.count() > 0 ? std::optional(accesses[0]) : std::nullopt;
    accesses.surrender();
    if (observed_.has(NSKeyValueObservingOptions::initial)) {
      if (access) return registerAndCall(*access);
      observed_.begin(std::move(value));
    } else {
      observed_.begin(std::move(value));
      hasBegun_ = true;
      if (access && registerWith(*access)) call();
    }
  }

 private:
  void notify(const AccessList* accesses) noexcept override {
    static_cast<void>(accesses);
    if (observed_.isExpired()) return;
    const auto tell = [&](auto value) {
      std::exchange(hasBegun_, true) ? observed_.tell(std::move(value)) : observed_.begin(std::move(value));
    };
    if (!observed_.wantsValues()) return tell(Reading());
    const auto object = observed_.object();
    if (object == nullptr) return;
    const auto read = [&] { tell(observed_.read(*object)); };
    callNotification("The evaluation of an observed property", read);
  }
  void discard() noexcept override { observed_.discard(); }

  using Reading = typename Observed::Reading;

  bool hasBegun_ = false;
  Observed observed_;
};

/// Observes a property that a member function computes.
template <typename Observed>
class ComputedPropertyObserver final : public ComputedObserver {
 public:
  explicit ComputedPropertyObserver(Observed observed) : observed_(std::move(observed)) {}

 private:
  void step(Occasion occasion) override {
    const auto object = observed_.object();
    if (object == nullptr) return;
    typename Observed::Reading value;
    track([&] { value = observed_.read(*object); });
    occasion == Occasion::start ? observed_.begin(std::move(value)) : observed_.tell(std::move(value));
  }
  void discard() noexcept override { observed_.discard(); }

  Observed observed_;
};

}  // namespace detail

/// Calls the handler after each change of an object's property, synchronously on the changing thread, outside every
/// lock, until the returned observation ends. The observation holds the object weakly. The end of the object ends the
/// observation without a call.
///
/// The property is a `Property`, or a member function computes it from properties. A computed property changes with any
/// of those properties, and its function is called on the changing thread. An assignment of an equal value is a change
/// too. A plain data member is accepted, but never reports a change.
///
/// An exception of the handler stops the process. So do a null object, and an exception from the evaluation of the
/// property after a change. If the first evaluation throws, `observe` throws that exception and makes no observation.
///
/// Thread contract: thread-safe. Simultaneous changes on several threads may be reported as one record. The last value
/// is always reported.
template <typename Object, typename Root, typename Value, typename Handler>
  requires(std::derived_from<Object, Root> && std::invocable<Handler&, const NSKeyValueObservedChange<Value>&>)
[[nodiscard("the observation lasts as long as what is returned")]] NSKeyValueObservation observe(
    const std::shared_ptr<Object>& object, const KeyPath<Root, Value>& keyPath, NSKeyValueObservingOptions options,
    Handler handler) {
  if (object == nullptr) fatalError("The object to observe is null", "Tessaly/NSKeyValueObservation", __LINE__);
  using Observed = detail::ObservedProperty<Object, Root, Value, Handler>;
  Observed observed(object, keyPath, options, std::move(handler));
  Retained<detail::Observer> observer;
  if (keyPath.isComputed()) {
    auto* const made = new detail::ComputedPropertyObserver<Observed>(std::move(observed));
    observer = Retained<detail::Observer>::adopt(made);
    made->start();
  } else {
    auto* const made = new detail::StoredPropertyObserver<Observed>(std::move(observed));
    observer = Retained<detail::Observer>::adopt(made);
    made->start(*object);
  }
  return NSKeyValueObservation(std::move(observer));
}

}  // namespace Tessaly::inline v1
