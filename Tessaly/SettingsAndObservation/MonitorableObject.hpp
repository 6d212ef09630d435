// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Object.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Observation/KeyPath.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/SettingsAndObservation/KeyPathsMonitor.hpp"
#include "Tessaly/SettingsAndObservation/Monitorable.hpp"
#include "Tessaly/SettingsAndObservation/detail/PropertyHooks.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The state of the handler that the function `monitor` makes: the object (kept alive), the isolation, the callback and
/// the properties.
template <typename Root, typename Callback, typename Properties>
struct MonitorDelivery {
  std::shared_ptr<Root> root;
  Isolation isolation;
  Callback callback;
  Properties properties;

  static Async<void> deliver(std::shared_ptr<MonitorDelivery> self) {
    co_await withIsolation(self->isolation, [&self] {
      return std::apply(
          [&self](const auto&... property) {
            return std::invoke(self->callback, property.keyPath().read(*self->root)...);
          },
          self->properties);
    });
  }
};

}  // namespace detail

/// Makes a monitor that calls `onChange` after each change of one of the listed properties. The arguments are the
/// current values of all listed properties, in the listed order. The call runs in a task, in the given isolation. A
/// later change cancels the task of an earlier change. `onChange` may be an ordinary function, or may return an
/// `Async`. After the destruction of the returned monitor no change starts a task, but a running task continues. The
/// monitor keeps the object alive.
///
/// Thread contract: the contract of the object.
template <auto... Members, Monitorable Root, typename Callback>
[[nodiscard("the monitoring lasts as long as the monitor")]] std::shared_ptr<KeyPathsMonitor> monitor(
    const std::shared_ptr<Root>& root, Isolation isolation, Callback onChange) {
  auto properties = root->template monitoredProperties<Members...>();
  using Delivery = detail::MonitorDelivery<Root, Callback, decltype(properties)>;
  auto delivery = std::make_shared<Delivery>(root, std::move(isolation), std::move(onChange), std::move(properties));
  auto made = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::asynchronous(
      [delivery = std::move(delivery)] { return Delivery::deliver(delivery); }));
  root->template registerMonitor<Members...>(made);
  return made;
}
/// Like the overload above, but `onChange` runs in the caller's isolation.
template <auto... Members, Monitorable Root, typename Callback>
[[nodiscard("the monitoring lasts as long as the monitor")]] std::shared_ptr<KeyPathsMonitor> monitor(
    const std::shared_ptr<Root>& root, Callback onChange) {
  return monitor<Members...>(root, Isolation::current(), std::move(onChange));
}

/// The base of objects whose properties can be monitored by key path. The properties are `Property` members, or member
/// functions that compute their results from such members. No further declaration is needed.
///
///     class Song : public MonitorableObject {
///      public:
///       Property<std::string> title;
///       Property<int> year = 1970;
///       std::string label() const { return title + ", " + std::to_string(year); }
///     };
///     auto song = std::make_shared<Song>();
///     auto monitor = song->monitor<&Song::label, &Song::year>([](std::string label, int year) { show(label, year); });
///     song->title = "Blue";
///
/// A property is observed from its first monitoring until the last monitor of the object is destroyed. Properties
/// without monitors cost nothing. The base is one pointer larger than `Object`.
///
/// A class may define `monitorComputed(keyPath, monitor)` itself to connect its computed properties in another way. A
/// class may also define its own type `MonitoredKeyPaths`. Then a call of `monitor` may list pointers to the members of
/// that type instead of pointers to the properties.
///
/// Thread contract: thread-compatible, like the properties. Monitors may be destroyed on any thread.
class TESSALY_EXPORT MonitorableObject : public Object {
 public:
  struct MonitoredKeyPaths {};

  ~MonitorableObject() override;

  /// See the free function of this name.
  template <auto... Members, typename Self, typename Callback>
  [[nodiscard("the monitoring lasts as long as the monitor")]] std::shared_ptr<KeyPathsMonitor> monitor(
      this Self& self, Callback onChange) {
    return Tessaly::monitor<Members...>(self.template sharedSelf<Self>(), Isolation::current(), std::move(onChange));
  }
  template <auto... Members, typename Self, typename Callback>
  [[nodiscard("the monitoring lasts as long as the monitor")]] std::shared_ptr<KeyPathsMonitor> monitor(
      this Self& self, Isolation isolation, Callback onChange) {
    return Tessaly::monitor<Members...>(self.template sharedSelf<Self>(), std::move(isolation), std::move(onChange));
  }

  /// The monitors that are notified of changes.
  [[nodiscard]] KeyPathsMonitor::Locked& monitors() { return monitoring().monitors; }

  /// Connects an existing monitor with the listed properties. The monitor is then notified of their changes.
  template <auto... Members, typename Self>
  void registerMonitor(this Self& self, const std::shared_ptr<KeyPathsMonitor>& monitor) {
    self.monitors().insert(monitor);
    (self.template registerOne<Self>(monitor, self.template monitoredProperty<Members, Self>()), ...);
  }
  /// The `MonitoredProperty` records of the listed properties, in a tuple.
  template <auto... Members, typename Self>
  [[nodiscard]] auto monitoredProperties(this const Self& self) {
    return std::tuple(self.template monitoredProperty<Members, Self>()...);
  }
  /// Removes a monitor.
  void removeMonitor(const KeyPathsMonitor& monitor);

  /// Makes a computed property observe the properties that it reads.
  template <typename Self, typename Root, typename Value>
  void monitorComputed(this Self& self, const KeyPath<Root, Value>& keyPath,
                       const std::shared_ptr<KeyPathsMonitor>& into) {
    static_cast<void>(into);
    self.template follow<Self>(keyPath);
  }

 protected:
  MonitorableObject() noexcept = default;

 private:
  /// Reports the changes of a computed property to the object's monitors.
  template <typename Self, typename Root, typename Value>
  class ComputedHook final : public detail::ComputedObserver {
   public:
    ComputedHook(const std::shared_ptr<Self>& object, const KeyPath<Root, Value>& keyPath)
        : object_(object), keyPath_(keyPath) {}

   private:
    void step(Occasion occasion) override {
      const auto object = object_.lock();
      if (object == nullptr) return;
      track([&] { keyPath_.access(*object); });
      if (occasion == Occasion::change) object->monitors().didSet(keyPath_, *object);
    }

    const std::weak_ptr<Self> object_;
    const KeyPath<Root, Value> keyPath_;
  };

  template <typename Self>
  [[nodiscard]] std::shared_ptr<Self> sharedSelf() {
    return std::static_pointer_cast<Self>(shared_from_this());
  }
  template <auto Member, typename Self>
  [[nodiscard]] static constexpr auto monitoredProperty() {
    using Listing = typename Self::MonitoredKeyPaths;
    if constexpr (std::is_same_v<detail::KeyPathRoot<Member>, Listing>) {
      return Listing().*Member;
    } else {
      return MonitoredProperty(keyPath<Member>, keyPath<Member>.isComputed());
    }
  }
  template <typename Self, typename Root, typename Value>
  void registerOne(const std::shared_ptr<KeyPathsMonitor>& monitor, const MonitoredProperty<Root, Value>& property) {
    monitor->add(sharedSelf<Self>(), property.keyPath());
    if (property.isComputed()) {
      static_cast<Self&>(*this).monitorComputed(property.keyPath(), monitor);
    } else {
      follow<Self>(property.keyPath());
    }
  }
  template <typename Self, typename Root, typename Value>
  void follow(const KeyPath<Root, Value>& keyPath) {
    if (isFollowing(keyPath)) return;
    const std::shared_ptr<Self> self = sharedSelf<Self>();
    detail::PropertyHook hook;
    // The hook starts before it is stored. So if another thread finds the stored hook, the hook already reports the
    // changes that this other thread makes next.
    if (keyPath.isComputed()) {
      auto* const made = new ComputedHook<Self, Root, Value>(self, keyPath);
      hook = detail::PropertyHook::adopt(made);
      made->start();
    } else {
      const detail::WithoutTracking untracked;
      detail::AccessList accesses;
      keyPath.access(*self);
      accesses.end();
      auto* const made = new detail::StoredPropertyHook(self, detail::objectIdentity(*self), monitoring(), keyPath);
      hook = detail::PropertyHook::adopt(made);
      made->start(accesses);
    }
    if (!keepHook(keyPath, hook)) hook->cancel();
  }

  [[nodiscard]] detail::Monitoring& monitoring() {
    detail::Monitoring* const monitoring = monitoring_.load(std::memory_order_acquire);
    return monitoring != nullptr ? *monitoring : makeMonitoring();
  }
  detail::Monitoring& makeMonitoring();
  [[nodiscard]] bool isFollowing(const AnyKeyPath& keyPath);
  /// Stores a hook. Returns false if the key path already has a hook.
  [[nodiscard]] bool keepHook(const AnyKeyPath& keyPath, const detail::PropertyHook& hook);

  std::atomic<detail::Monitoring*> monitoring_{nullptr};
};

}  // namespace Tessaly::inline v1
