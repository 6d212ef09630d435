// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/CopyOnWrite.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Core/Locks/OSAllocatedUnfairLock.hpp"
#include "Tessaly/Core/Observation/KeyPath.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SettingsAndObservation/Monitorable.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class StoredPropertyHook;
}  // namespace detail

/// A monitor that reacts to changes of chosen properties of objects. The reaction is a function that runs at once, or a
/// task. A later change cancels the task and starts another one.
///
/// The objects (see `Monitorable`) hold their monitors weakly and notify them of each change. The host owns the
/// monitor. Usually the function `monitor` makes the monitor. Prefer `observe` for the old and new value of one
/// property, and `withContinuousObservation` for a value computed from several properties.
///
/// A `std::shared_ptr` owns the monitor. A monitor equals only itself.
///
/// Thread contract: thread-compatible. One thread or isolation at a time may report changes or add key paths. The
/// monitor may be released on any thread, even while a change is being delivered. In that case the monitor is destroyed
/// after the delivery.
///
///     auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] { window.setNeedsDisplay(); }));
///     monitor->add(song, keyPath<&Song::title>);
///     song->monitors().insert(monitor);
class TESSALY_EXPORT KeyPathsMonitor : public std::enable_shared_from_this<KeyPathsMonitor> {
  struct Private {};

 public:
  /// The reaction of a monitor to a change.
  class OnChange {
   public:
    using Synchronous = std::function<void()>;
    using Asynchronous = std::function<Async<void>()>;

    /// A reaction that calls the function on the thread that reports the change. An exception stops the process.
    [[nodiscard]] static OnChange synchronous(Synchronous callback) { return OnChange(std::move(callback)); }
    /// A reaction that starts a task at each change, and cancels the task of the previous change. The task runs the
    /// function, and inherits the priority, the task-locals and the isolation of the reporting code. A
    /// `CancellationError` ends the task silently. Any other exception stops the process.
    [[nodiscard]] static OnChange asynchronous(Asynchronous callback) {
      return OnChange(std::make_shared<const Asynchronous>(std::move(callback)));
    }

   private:
    friend KeyPathsMonitor;
    using Shared = std::shared_ptr<const Asynchronous>;

    explicit OnChange(Synchronous callback) : synchronous_(std::move(callback)) {}
    explicit OnChange(Shared callback) : asynchronous_(std::move(callback)) {}

    /// Used if `asynchronous_` is null.
    Synchronous synchronous_;
    Shared asynchronous_;
  };

  /// The object of a watched key path, held weakly.
  class WeakRoot {
   public:
    template <Monitorable Root>
    explicit WeakRoot(const std::shared_ptr<Root>& root)
        : root_(root),
          identity_(detail::objectIdentity(*root)),
          removeMonitor_([](void* object, const KeyPathsMonitor& monitor) {
            static_cast<Root*>(object)->removeMonitor(monitor);
          }) {}

    /// The object, or null after its destruction.
    [[nodiscard]] std::shared_ptr<void> root() const noexcept { return root_.lock(); }

   private:
    friend KeyPathsMonitor;

    std::weak_ptr<void> root_;
    const void* identity_;
    void (*removeMonitor_)(void* object, const KeyPathsMonitor& monitor);
  };

  /// A monitor held weakly. All references to destroyed monitors are equal.
  struct Weak {
    std::weak_ptr<KeyPathsMonitor> monitor;

    [[nodiscard]] TESSALY_EXPORT std::size_t hash() const noexcept;
    [[nodiscard]] TESSALY_EXPORT bool operator==(const Weak& other) const noexcept;
  };

  /// The set of the monitors of one `Monitorable` object. A copy is a separate set that shares the lock.
  ///
  /// Monitors are called outside the lock and may insert and remove monitors. The destructor of a monitor removes the
  /// monitor from every object that the monitor watches. Any other set, such as a copy, keeps its element for the
  /// destroyed monitor, so `isEmpty()` of that set returns false.
  ///
  /// Thread contract: thread-safe, except for assignment.
  ///
  ///     KeyPathsMonitor::Locked monitors;
  ///     monitors.insert(monitor);
  ///     monitors.didSet(keyPath<&Song::title>, *this);
  class TESSALY_EXPORT Locked {
   public:
    Locked() = default;
    Locked(const Locked& other);
    Locked& operator=(const Locked& other);
    ~Locked() = default;

    /// Inserts a monitor. A second insertion of the same monitor does nothing.
    void insert(const std::shared_ptr<KeyPathsMonitor>& monitor);
    /// Removes a monitor, if it is in the set.
    void remove(const KeyPathsMonitor& monitor);
    [[nodiscard]] bool isEmpty() const;

    /// Notifies every monitor of a change, in no particular order. Call this function after the property was set.
    template <typename Root>
    void didSet(const AnyKeyPath& keyPath, const Root& root) const {
      tell(keyPath, detail::objectIdentity(root));
    }
    template <typename Root>
    void didSet(const AnyKeyPath& keyPath, const std::shared_ptr<Root>& root) const {
      didSet(keyPath, *root);
    }

   private:
    friend detail::StoredPropertyHook;

    /// A set of monitors. Snapshots of the set share its memory. While a snapshot exists, an insertion or removal
    /// copies the set first.
    using Monitors = CopyOnWrite<std::unordered_map<UUID, Weak>>;

    void tell(const AnyKeyPath& keyPath, const void* root) const;
    [[nodiscard]] Monitors copyOfMonitors() const;

    OSAllocatedUnfairLock<void> lock_;
    Monitors monitors_;
  };

  using Update = std::function<void(KeyPathsMonitor&)>;

  /// For the library only. Other code calls `make`.
  KeyPathsMonitor(Private, OnChange onChange);
  KeyPathsMonitor(const KeyPathsMonitor&) = delete;
  KeyPathsMonitor& operator=(const KeyPathsMonitor&) = delete;
  /// Calls `removeMonitor` of every watched object that still exists, once for each key path. A running task continues.
  ~KeyPathsMonitor();

  [[nodiscard]] static std::shared_ptr<KeyPathsMonitor> make(OnChange onChange) {
    return std::make_shared<KeyPathsMonitor>(Private(), std::move(onChange));
  }

  /// The random identifier of this monitor.
  [[nodiscard]] const UUID& id() const noexcept TESSALY_LIFETIMEBOUND { return id_; }

  /// Watches a key path on an object. A monitor watches each key path on only one object, so this object replaces the
  /// former object of the key path. The caller must also insert the monitor into the object's `Locked`.
  template <Monitorable Object, typename Root, typename Value>
    requires std::derived_from<Object, Root>
  void add(const std::shared_ptr<Object>& root, const KeyPath<Root, Value>& keyPath) {
    keyPathToMonitorable_.insert_or_assign(keyPath, WeakRoot(root));
  }

  /// Sets the update function of a key path, and calls it once immediately. Later, each report of a change of this
  /// property calls the function, whichever object has changed. The new function replaces the former function.
  void monitoring(const AnyKeyPath& keyPath, Update update);

  /// Receives the report of a change. Calls the key path's update function. Then, if the key path is watched on `root`,
  /// performs the monitor's reaction.
  template <typename Root>
  void didSet(const AnyKeyPath& keyPath, const Root& root) {
    report(keyPath, detail::objectIdentity(root));
  }
  template <typename Root>
  void didSet(const AnyKeyPath& keyPath, const std::shared_ptr<Root>& root) {
    didSet(keyPath, *root);
  }

  /// Appends the monitor to an array, which keeps the monitor alive from then on.
  void store(std::vector<std::shared_ptr<KeyPathsMonitor>>& monitors);

  /// The last task that a change started. Absent if no change has started a task.
  [[nodiscard]] const std::optional<Task<>>& onChangeTask() const noexcept TESSALY_LIFETIMEBOUND {
    return onChangeTask_;
  }

  friend bool operator==(const KeyPathsMonitor& left, const KeyPathsMonitor& right) noexcept {
    return left.id_ == right.id_;
  }

 private:
  void report(const AnyKeyPath& keyPath, const void* root);
  static Async<void> run(OnChange::Shared callback);

  const UUID id_ = UUID::random();
  std::unordered_map<AnyKeyPath, WeakRoot> keyPathToMonitorable_;
  std::unordered_map<AnyKeyPath, std::shared_ptr<Update>> updates_;
  const OnChange onChange_;
  std::optional<Task<>> onChangeTask_;
};

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::KeyPathsMonitor> {
  std::size_t operator()(const Tessaly::KeyPathsMonitor& monitor) const noexcept {
    return std::hash<Tessaly::UUID>()(monitor.id());
  }
};
template <>
struct std::hash<Tessaly::KeyPathsMonitor::Weak> {
  std::size_t operator()(const Tessaly::KeyPathsMonitor::Weak& monitor) const noexcept { return monitor.hash(); }
};
