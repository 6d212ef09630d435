// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Platform/Settings/UserDefaults.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"

namespace Tessaly::inline v1 {

template <UserDefaultsValueTransformable Value>
class Default<Value>::Backing final : public KeyValueObserver {
  struct Private {
    explicit Private() = default;
  };

 public:
  /// Makes an object that observes the store until the object is destroyed.
  [[nodiscard]] static std::shared_ptr<Backing> make(Key key, std::shared_ptr<UserDefaults> storage);
  /// Stops the process, because an object without a key is impossible.
  [[noreturn]] static std::shared_ptr<Backing> make() noexcept { detail::stopMakingABacking(); }

  Backing(Private, Key key, std::shared_ptr<UserDefaults> storage);
  ~Backing() override;

  [[nodiscard]] std::string_view className() const noexcept override { return "Tessaly.Backing"; }
  [[nodiscard]] const Key& key() const noexcept { return key_; }
  [[nodiscard]] const std::shared_ptr<UserDefaults>& storage() const noexcept { return storage_; }

  /// The value of the setting. Observation tracking records the read.
  [[nodiscard]] Value value() const;
  /// Stores the setting. The store then notifies this object, and this object announces the change.
  void setValue(const Value& newValue);

  void observeValue(std::optional<std::string_view> keyPath, const Object* object,
                    const std::optional<KeyValueChange>& change, void* context) override;

 private:
  const Key key_;
  const std::shared_ptr<UserDefaults> storage_;
  ObservationRegistrar observationRegistrar_;
};

// The members stand outside the class, so that a host does not instantiate the members of the types that the library
// has instantiated.
template <UserDefaultsValueTransformable Value>
std::shared_ptr<typename Default<Value>::Backing> Default<Value>::Backing::make(Key key,
                                                                                std::shared_ptr<UserDefaults> storage) {
  detail::registerSettingClasses();
  auto backing = std::make_shared<Backing>(Private(), std::move(key), std::move(storage));
  backing->storage_->addObserver(backing, backing->key_.name(), KeyValueObservingOptions::newValue, nullptr);
  return backing;
}

template <UserDefaultsValueTransformable Value>
Default<Value>::Backing::Backing(Private, Key key, std::shared_ptr<UserDefaults> storage)
    : key_(std::move(key)), storage_(std::move(storage)) {}

template <UserDefaultsValueTransformable Value>
Default<Value>::Backing::~Backing() {
  storage_->removeObserver(*this, key_.name());
}

template <UserDefaultsValueTransformable Value>
Value Default<Value>::Backing::value() const {
  observationRegistrar_.access(*this, keyPath<&Backing::value>);
  return read(*storage_, key_);
}

template <UserDefaultsValueTransformable Value>
void Default<Value>::Backing::setValue(const Value& newValue) {
  write(*storage_, key_, newValue);
}

template <UserDefaultsValueTransformable Value>
void Default<Value>::Backing::observeValue(std::optional<std::string_view> keyPath, const Object* object,
                                           const std::optional<KeyValueChange>& change, void* context) {
  static_cast<void>(object);
  static_cast<void>(context);
  if (keyPath != key_.name() || !change || change->isEmpty()) return;
  observationRegistrar_.withMutation(*this, ::Tessaly::keyPath<&Backing::value>, [] {});
}

}  // namespace Tessaly::inline v1
