// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Settings/UserDefaults.hpp"
#include "Tessaly/SettingsAndObservation/AnyOptional.hpp"
#include "Tessaly/SettingsAndObservation/InvalidSetting.hpp"
#include "Tessaly/SettingsAndObservation/UserDefaultsValueTransformable.hpp"
#include "Tessaly/SettingsAndObservation/detail/DescribedSetting.hpp"
#include "Tessaly/SettingsAndObservation/detail/SettingModification.hpp"
#include "Tessaly/SettingsAndObservation/detail/SettingName.hpp"
#include "Tessaly/SettingsAndObservation/detail/SettingRule.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Makes the classes of `Default` known to `Object::make`.
TESSALY_EXPORT void registerSettingClasses();
[[noreturn]] TESSALY_EXPORT void stopMakingABacking() noexcept;
[[noreturn]] TESSALY_EXPORT void stopMakingAValueObserver() noexcept;

/// The base class of `Default<Value>::Key`. Its static members are the library's own keys for values of type `Value`.
template <typename Value, typename Key>
struct WellKnownSettings {};
template <typename Key>
struct WellKnownSettings<bool, Key> {
  /// The key "can-connect-to-host", whose default is true. While the setting is false, `ReachabilityService` reports
  /// that the machine is offline.
  static const Key& canConnectToHost;
};

/// A function that accepts the stored values of a setting.
template <typename Handler, typename StoredValue>
concept SettingHandler =
    std::invocable<Handler&, const StoredValue&, ChangeOrigin> || std::invocable<Handler&, const StoredValue&>;

/// An argument type that is a pointer, for a Boolean setting. The overloads for such arguments are deleted. Usually the
/// argument is a string literal that was passed by mistake. Without the deleted overloads, it would convert to true.
template <typename Argument, typename Value>
concept PointerForBoolean =
    OneOf<Value, bool, std::optional<bool>> &&
    (std::is_pointer_v<std::decay_t<Argument>> || std::is_member_pointer_v<std::decay_t<Argument>>);

}  // namespace detail

/// One setting of the application: a name in `UserDefaults::standard()` with a type and a default value.
///
/// Each call of `value()` reads the store and reports no failure. The result is the key's default if the stored value
/// is missing or does not convert to the type. Observation tracking records the read. Observers are notified of every
/// change of the setting, even if another `Default`, a direct write to the store or another process makes the change.
///
/// Copies share one observed object. A move is a copy. The static functions read and write without an observed object.
/// The stored form is a plain property-list value without a prefix or a tag, so other programs can read it.
///
/// The nearest facility elsewhere is a `QSettings` entry. Such an entry has no type and no default of its own, and does
/// not notify of changes.
///
/// Thread contract: thread-safe. Changes by this process are announced on the writing thread. Changes by other
/// processes are announced on a serial executor. A read takes a few dozen nanoseconds more than a search in a hash
/// table. A write usually takes microseconds, and waits at most 2 s for a lock that another process holds. Once a
/// write has returned, a value that could be stored survives `kill -9`.
///
///     constexpr Default<int>::Key volumeKey{"volume", 50};
///     Default<int> volume(volumeKey);
///     volume.setValue(volume.value() + 10);
///     auto observer = Default<int>::observe(volumeKey, [](int stored) { show(stored); });
template <UserDefaultsValueTransformable Value>
class Default {
 public:
  using StoredValue = ::Tessaly::StoredValue<Value>;

  /// The key of a setting: its exact name in the store, and its default. A read gives the default if the store has no
  /// usable value.
  ///
  /// A key can be `constexpr` if its name is a literal and its default can be `constexpr`. A name that is not a literal
  /// is copied.
  ///
  /// A key may carry a rule. Then no read gives a value that the rule forbids. A stored value below or above the rule's
  /// range reads as the nearest end if the rule permits that end. Any other forbidden value reads as the default. With
  /// `readsAsDefault`, every forbidden value reads as the default. No write stores a forbidden value. If the forbidden
  /// value would read as the nearest end, the write stores that end. Otherwise the store keeps the former value, and
  /// the library logs an error. In a `constexpr` key, an empty range or a rule that forbids the default does not
  /// compile. In any other key, such a rule stops the process. The absent value is exempt: it can always be stored, and
  /// can always be the default.
  ///
  /// Thread contract: thread-compatible.
  ///
  ///     constexpr Default<bool>::Key showsHiddenFiles{"shows-hidden-files", false};
  ///     constexpr Default<std::optional<int>>::Key lastPage = "last-page";
  ///     constexpr auto interval = Default<int>::Key("interval", 60).within(1, 3600);
  ///     constexpr auto even = Default<int>::Key("even", 2).where([](int number) { return number % 2 == 0; });
  class Key : public detail::WellKnownSettings<Value, Key> {
   public:
    constexpr Key(detail::SettingName name, Value defaultValue)
        : defaultValue_(std::move(defaultValue)), name_(std::move(name)) {}
    template <detail::PointerForBoolean<Value> Pointer>
    Key(detail::SettingName name, const Pointer& defaultValue) = delete;
    /// The default is the absent value.
    explicit constexpr Key(detail::SettingName name)
      requires std::constructible_from<Value, std::nullopt_t>
        : defaultValue_(std::nullopt), name_(std::move(name)) {}
    /// The literal is the name. The default is the absent value.
    template <std::size_t size>
      requires std::constructible_from<Value, std::nullopt_t>
    consteval Key(const char (&literal)[size]) : defaultValue_(std::nullopt), name_(literal) {}

    [[nodiscard]] constexpr const Value& defaultValue() const noexcept TESSALY_LIFETIMEBOUND { return defaultValue_; }
    [[nodiscard]] constexpr std::string_view name() const noexcept { return name_.text(); }

    /// A copy of this key with a rule that allows only the values from `lowest` to `highest`, including both. The range
    /// must contain the key's default, unless that default is absent. The range replaces a former range of the key.
    [[nodiscard]] constexpr Key within(Value lowest, Value highest,
                                       InvalidSetting invalid = InvalidSetting::readsAsNearest) const
      requires std::totally_ordered<Value>
    {
      Key key = *this;
      key.rule_.setRange(std::move(lowest), std::move(highest), invalid);
      return key.checked();
    }
    /// A copy of this key with a rule that allows only the values that the predicate accepts. A range of the key still
    /// applies. A stored value that only the predicate forbids reads as the default. A stored value outside the range
    /// reads as the `InvalidSetting` of the range says. The predicate must accept the key's default, unless that
    /// default is absent. The predicate must have no state, like a lambda expression without captures. It replaces a
    /// former predicate of the key.
    template <std::predicate<const Value&> Predicate>
      requires std::is_empty_v<Predicate> && std::default_initializable<Predicate>
    [[nodiscard]] constexpr Key where(Predicate) const {
      Key key = *this;
      key.rule_.setPredicate([](const Value& value) -> bool { return Predicate()(value); });
      return key.checked();
    }
    /// The ends of the range of `within`. Absent without a range.
    [[nodiscard]] constexpr std::optional<Value> lowestValue() const { return rule_.lowest(); }
    [[nodiscard]] constexpr std::optional<Value> highestValue() const { return rule_.highest(); }
    /// Whether the rule allows the value. Always true for a key without a rule, and for the absent value.
    [[nodiscard]] constexpr bool allows(const Value& value) const { return rule_.allows(value); }

    /// The description of the key for `UserDefaults::publishKeys`. `documentation` is one line of text for people.
    [[nodiscard]] SettingDescription described(std::string documentation) const {
      return detail::descriptionOf(name(), defaultValue_, rule_, std::move(documentation));
    }

   private:
    friend class Default;

    [[nodiscard]] constexpr const Key& checked() const {
      if (!rule_.hasRange()) detail::stopAtEmptyRange(name());
      if (!rule_.allows(defaultValue_)) detail::stopAtRuleThatForbidsTheDefault(name());
      return *this;
    }

    Value defaultValue_;
    detail::SettingName name_;
    detail::SettingRule<Value> rule_;
  };

  /// The object behind a `Default`. The object observes the store, and is itself observable.
  ///
  /// The class is registered as "Tessaly.Backing". `Object::make` stops the process for that name, because the object
  /// needs a key.
  ///
  /// Thread contract: thread-safe.
  ///
  ///     auto backing = Default<int>::Backing::make(volumeKey, UserDefaults::standard());
  ///     backing->setValue(30);
  class Backing;

  /// An observer that passes the changed values of one setting to a handler, in their stored form. `Default::observe`
  /// makes the observer.
  ///
  /// The class is registered as "Tessaly.ValueObserver". `Object::make` stops the process for that name, because the
  /// observer needs a key.
  ///
  /// Thread contract: thread-compatible. Call `startObservingIfNeeded` before other threads can change the setting.
  ///
  ///     auto observer = Default<int>::ValueObserver::make(UserDefaults::standard(), volumeKey);
  ///     observer->startObservingIfNeeded([](int stored) { show(stored); });
  class ValueObserver;

  explicit Default(Key key);
  Default(const Default&) noexcept = default;
  Default& operator=(const Default&) noexcept = default;

  [[nodiscard]] const Key& key() const noexcept { return backing_->key(); }
  /// The observed object, shared by all copies.
  [[nodiscard]] const std::shared_ptr<Backing>& backing() const noexcept { return backing_; }

  /// The value of the setting. Observation tracking records the read.
  [[nodiscard]] Value value() const;
  /// Stores the value; the absent value removes the setting's entry. If the key's rule forbids the value, stores the
  /// nearest end of the range, or keeps the former value (see `Key`).
  void setValue(const Value& newValue);
  template <detail::PointerForBoolean<Value> Pointer>
  void setValue(const Pointer& newValue) = delete;
  /// Calls the body to change the value, and stores the value even if the body throws. Returns the body's result.
  /// Overwrites a change that another writer makes meanwhile.
  template <typename Body>
  auto modifyValue(Body&& body) -> std::invoke_result_t<Body, Value&> {
    return detail::SettingModification{backing_->value(), [this](const Value& value) { setValue(value); }}.apply(
        std::forward<Body>(body));
  }

  /// The value of the setting. Unlike the member function `value()`, this function needs no `Backing`, and observation
  /// tracking does not record the read.
  [[nodiscard]] static Value value(const Key& key) { return read(*UserDefaults::standard(), key); }
  /// Stores the value; the absent value removes the setting's entry. If the key's rule forbids the value, stores the
  /// nearest end of the range, or keeps the former value (see `Key`).
  static void setValue(const Key& key, const Value& newValue) { write(*UserDefaults::standard(), key, newValue); }
  template <detail::PointerForBoolean<Value> Pointer>
  static void setValue(const Key& key, const Pointer& newValue) = delete;
  /// Calls the body to change the value, and stores the value even if the body throws. Returns the body's result.
  /// Overwrites a change that another writer makes meanwhile.
  template <typename Body>
  static auto modifyValue(const Key& key, Body&& body) -> std::invoke_result_t<Body, Value&> {
    return detail::SettingModification{value(key), [&key](const Value& value) { setValue(key, value); }}.apply(
        std::forward<Body>(body));
  }

  /// Calls the handler after each change of the setting, until the returned observer is destroyed. The handler gets the
  /// value in its stored form. A value that does not convert to `StoredValue` is not delivered. A removal is delivered
  /// only if `StoredValue` can be absent. If the key's rule forbids the stored value, the handler gets the value that a
  /// read returns instead, in its stored form. A handler may also take a `ChangeOrigin`, which says whether this
  /// process or another one made the change. An exception of the handler stops the process.
  ///
  /// The destruction of the observer waits for calls of the handler on other threads. Afterwards the objects that the
  /// handler refers to may be destroyed. Do not destroy the observer while holding a lock that the handler acquires.
  /// The handler itself may destroy the observer.
  template <typename Handler>
    requires detail::SettingHandler<Handler, StoredValue>
  [[nodiscard("the observation ends with the observer")]] static std::shared_ptr<ValueObserver> observe(
      const Key& key, Handler changeHandler) {
    auto observer = ValueObserver::make(UserDefaults::standard(), key);
    observer->startObservingIfNeeded(std::move(changeHandler));
    ValueObserver* const address = observer.get();
    return {address, [observer = std::move(observer)](ValueObserver*) mutable {
              observer->stop();
              observer.reset();
            }};
  }

 private:
  static Value read(const UserDefaults& store, const Key& key);
  /// The value that a key reads if the given value is stored.
  static Value admitted(const Key& key, Value value);
  static void write(UserDefaults& store, const Key& key, const Value& newValue);
  /// Converts a stored object. Null stands for a missing entry. The result is absent if the conversion fails.
  static std::optional<StoredValue> converted(const PropertyList* object) {
    return UserDefaultsValueTraits<StoredValue>::value(object);
  }

  std::shared_ptr<Backing> backing_;
};

template <UserDefaultsValueTransformable Value>
Default<Value>::Default(Key key) : backing_(Backing::make(std::move(key), UserDefaults::standard())) {}

template <UserDefaultsValueTransformable Value>
Value Default<Value>::value() const {
  return backing_->value();
}

template <UserDefaultsValueTransformable Value>
void Default<Value>::setValue(const Value& newValue) {
  backing_->setValue(newValue);
}

template <UserDefaultsValueTransformable Value>
Value Default<Value>::admitted(const Key& key, Value value) {
  if (key.rule_.isEmpty()) [[likely]]
    return value;
  auto result = key.rule_.admitted(std::move(value));
  return result ? *std::move(result) : key.defaultValue();
}

template <UserDefaultsValueTransformable Value>
Value Default<Value>::read(const UserDefaults& store, const Key& key) {
  const std::optional<PropertyList> object = store.value(key.name());
  auto stored = converted(object ? &*object : nullptr);
  if (!stored) return key.defaultValue();
  auto value = UserDefaultsValueTransformableTraits<Value>::from(*std::move(stored));
  if (!value) return key.defaultValue();
  return admitted(key, *std::move(value));
}

template <UserDefaultsValueTransformable Value>
void Default<Value>::write(UserDefaults& store, const Key& key, const Value& newValue) {
  if constexpr (AnyOptional<Value>) {
    if (isNil(newValue)) return store.removeObject(key.name());
  }
  if (!key.allows(newValue)) [[unlikely]] {
    const auto nearest = key.rule_.admitted(newValue);
    return nearest ? write(store, key, *nearest) : detail::logForbiddenSetting(key.name());
  }
  std::optional<PropertyList> object =
      UserDefaultsValueTraits<StoredValue>::object(transformToUserDefaultValue(newValue));
  if (object) {
    store.set(*std::move(object), key.name());
  } else {
    store.removeObject(key.name());
  }
}

namespace detail {

// A constant of its own: for a constant that is a member, g++ would register a destructor at load time.
inline constexpr Default<bool>::Key canConnectToHost{"can-connect-to-host", true};
template <typename Key>
constexpr const Key& WellKnownSettings<bool, Key>::canConnectToHost = detail::canConnectToHost;

}  // namespace detail
}  // namespace Tessaly::inline v1

#include "Tessaly/SettingsAndObservation/detail/SettingBacking.hpp"
#include "Tessaly/SettingsAndObservation/detail/SettingValueObserver.hpp"
