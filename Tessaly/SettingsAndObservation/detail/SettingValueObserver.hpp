// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/CallGate.hpp"
#include "Tessaly/Core/Base/IsAsync.hpp"
#include "Tessaly/Platform/Settings/UserDefaults.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"

namespace Tessaly::inline v1 {

template <UserDefaultsValueTransformable Value>
class Default<Value>::ValueObserver final : public KeyValueObserver {
  struct Private {
    explicit Private() = default;
  };

 public:
  using ChangeHandler = std::move_only_function<void(const StoredValue&, ChangeOrigin)>;

  /// Makes an observer that does not observe yet.
  [[nodiscard]] static std::shared_ptr<ValueObserver> make(std::shared_ptr<UserDefaults> userDefault, Key key) {
    detail::registerSettingClasses();
    return std::make_shared<ValueObserver>(Private(), std::move(userDefault), std::move(key));
  }
  /// Stops the process, because an object without a key is impossible.
  [[noreturn]] static std::shared_ptr<ValueObserver> make() noexcept { detail::stopMakingAValueObserver(); }

  ValueObserver(Private, std::shared_ptr<UserDefaults> userDefault, Key key)
      : key_(std::move(key)), userDefault_(std::move(userDefault)) {}
  ~ValueObserver() override {
    if (isObserving_) userDefault_->removeObserver(*this, key_.name());
  }

  [[nodiscard]] std::string_view className() const noexcept override { return "Tessaly.ValueObserver"; }
  [[nodiscard]] const Key& key() const noexcept { return key_; }
  [[nodiscard]] const std::shared_ptr<UserDefaults>& userDefault() const noexcept { return userDefault_; }
  [[nodiscard]] bool isObserving() const noexcept { return isObserving_; }

  /// From now on, calls the handler after each change. A later call of this function keeps the first handler and drops
  /// the new handler. The handler takes the stored value, and may also take the `ChangeOrigin`. A value that does not
  /// convert to `StoredValue` is not delivered. An empty function is not called.
  template <typename Handler>
    requires detail::SettingHandler<Handler, StoredValue>
  void startObservingIfNeeded(Handler onChange) {
    if (isObserving_) return;
    isObserving_ = true;
    bool isEmpty = false;
    if constexpr (requires { onChange == nullptr; }) isEmpty = onChange == nullptr;
    if (!isEmpty) setOnChange(std::move(onChange));
    userDefault_->addObserver(std::static_pointer_cast<ValueObserver>(this->shared_from_this()), key_.name(),
                              KeyValueObservingOptions::newValue, nullptr);
  }

  void observeValue(std::optional<std::string_view> keyPath, const Object* object,
                    const std::optional<KeyValueChange>& change, void* context) override {
    static_cast<void>(object);
    static_cast<void>(context);
    if (keyPath != key_.name()) return;
    const bool hasObject = change && change->newValue && *change->newValue;
    auto stored = converted(hasObject ? &**change->newValue : nullptr);
    if (!stored) return;
    if (!key_.rule_.isEmpty()) stored = admitted(*std::move(stored));
    const CallGate::Call call(calls_);
    if (call.isAdmitted() && onChange_) onChange_(*stored, change ? change->origin : ChangeOrigin::thisProcess);
  }

 private:
  friend class Default;

  template <typename Handler>
  void setOnChange(Handler onChange) {
    if constexpr (std::invocable<Handler&, const StoredValue&, ChangeOrigin>) {
      static_assert(!isAsync<std::invoke_result_t<Handler&, const StoredValue&, ChangeOrigin>>,
                    "the handler must not suspend: no code would await it");
      onChange_ = std::move(onChange);
    } else {
      static_assert(!isAsync<std::invoke_result_t<Handler&, const StoredValue&>>,
                    "the handler must not suspend: no code would await it");
      onChange_ = [handler = std::move(onChange)](const StoredValue& stored, ChangeOrigin) mutable { handler(stored); };
    }
  }
  /// If the rule allows the stored value, or if that value does not convert to `Value`, returns the stored value.
  /// Otherwise returns the stored form of the value that the key reads.
  [[nodiscard]] StoredValue admitted(StoredValue stored) const {
    auto value = UserDefaultsValueTransformableTraits<Value>::from(stored);
    if (!value || key_.allows(*value)) return stored;
    return transformToUserDefaultValue(Default::admitted(key_, *std::move(value)));
  }
  /// Ends the calls of the handler, and waits for calls on other threads. Then destroys the handler, unless this thread
  /// is inside a call of the handler.
  void stop() noexcept {
    if (calls_.close()) onChange_ = nullptr;
  }

  const Key key_;
  const std::shared_ptr<UserDefaults> userDefault_;
  bool isObserving_ = false;
  ChangeHandler onChange_;
  CallGate calls_;
};

}  // namespace Tessaly::inline v1
