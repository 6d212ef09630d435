// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <variant>
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

/// Reacts when chosen properties of chosen objects change: by a function that runs at once, or by a task of which a
/// later change makes the earlier one superfluous.
///
/// The objects (see `Monitorable`) hold their monitors weakly and tell them of each change; whoever wants to be told
/// keeps the monitor. Usually it is made by `monitor` of an object. Prefer `observe` for the old and new value of one
/// property, and `withContinuousObservation` for a value computed from several.
///
/// Held by `std::shared_ptr`, equal to itself only.
///
/// Thread contract: thread-compatible: changes are reported, and key paths added, by one thread or isolation at a time.
/// It may be released on any thread, also while a change is being delivered; it then ends after that.
///
///     auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] { window.setNeedsDisplay(); }));
///     monitor->add(song, keyPath<&Song::title>);
///     song->monitors().insert(monitor);
class TESSALY_EXPORT KeyPathsMonitor : public std::enable_shared_from_this<KeyPathsMonitor> {
  struct Private {};

 public:
  /// What a monitor does about a change.
  class OnChange {
   public:
    using Synchronous = std::function<void()>;
    using Asynchronous = std::function<Async<void>()>;

    /// Calls the function on the thread that reports the change. A throw stops the process.
    [[nodiscard]] static OnChange synchronous(Synchronous callback) { return OnChange(std::move(callback)); }
    /// Starts a task that runs the function, and cancels the one of the change before. The task inherits the priority,
    /// the task-locals and the isolation of who reports the change. A `CancellationError` ends it in silence; any other
    /// throw stops the process.
    [[nodiscard]] static OnChange asynchronous(Asynchronous callback) {
      return OnChange(std::make_shared<const Asynchronous>(std::move(callback)));
    }

   private:
    friend KeyPathsMonitor;
    using Shared = std::shared_ptr<const Asynchronous>;

    explicit OnChange(std::variant<Synchronous, Shared> callback) : callback_(std::move(callback)) {}

    std::variant<Synchronous, Shared> callback_;
  };

  /// Which object a watched key path belongs to; holds it weakly.
  class WeakRoot {
   public:
    template <Monitorable Root>
    explicit WeakRoot(const std::shared_ptr<Root>& root)
        : root_(root),
          identity_(detail::objectIdentity(*root)),
          removeMonitor_([](void* object, const KeyPathsMonitor& monitor) {
            static_cast<Root*>(object)->removeMonitor(monitor);
          }) {}

    /// The object; null once it is gone.
    [[nodiscard]] std::shared_ptr<void> root() const noexcept { return root_.lock(); }

   private:
    friend KeyPathsMonitor;

    std::weak_ptr<void> root_;
    const void* identity_;
    void (*removeMonitor_)(void* object, const KeyPathsMonitor& monitor);
  };

  /// A monitor held weakly. All that are gone are equal.
  struct Weak {
    std::weak_ptr<KeyPathsMonitor> monitor;

    [[nodiscard]] TESSALY_EXPORT std::size_t hash() const noexcept;
    [[nodiscard]] TESSALY_EXPORT bool operator==(const Weak& other) const noexcept;
  };

  /// The monitors of an object, which every `Monitorable` holds. A copy has monitors of its own and shares the lock.
  ///
  /// Monitors are called outside the lock and may insert and remove there. What is gone counts as an element until it
  /// is removed, which a monitor sees to for the objects that were added to it.
  ///
  /// Thread contract: thread-safe.
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

    /// Once, however often it is inserted.
    void insert(const std::shared_ptr<KeyPathsMonitor>& monitor);
    /// Nothing happens if it is not there.
    void remove(const KeyPathsMonitor& monitor);
    [[nodiscard]] bool isEmpty() const;

    /// Tells every monitor that is there of a change, in no particular order. To be called after the property was set.
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

    /// A snapshot shares it. An insertion or removal meanwhile writes a copy.
    using Monitors = CopyOnWrite<std::unordered_map<UUID, Weak>>;

    void tell(const AnyKeyPath& keyPath, const void* root) const;
    [[nodiscard]] Monitors copyOfMonitors() const;

    OSAllocatedUnfairLock<void> lock_;
    Monitors monitors_;
  };

  using Update = std::function<void(KeyPathsMonitor&)>;

  /// For the library: use `make`.
  KeyPathsMonitor(Private, OnChange onChange);
  KeyPathsMonitor(const KeyPathsMonitor&) = delete;
  KeyPathsMonitor& operator=(const KeyPathsMonitor&) = delete;
  /// Asks every object that was added, and is there yet, to remove this monitor, once for each key path. A task that is
  /// running goes on.
  ~KeyPathsMonitor();

  [[nodiscard]] static std::shared_ptr<KeyPathsMonitor> make(OnChange onChange) {
    return std::make_shared<KeyPathsMonitor>(Private(), std::move(onChange));
  }

  /// A random identifier of its own.
  [[nodiscard]] const UUID& id() const noexcept { return id_; }

  /// Watches a key path on an object, in place of the object watched under it before. The object must also have the
  /// monitor inserted to tell it of changes.
  template <Monitorable Object, typename Root, typename Value>
    requires std::derived_from<Object, Root>
  void add(const std::shared_ptr<Object>& root, const KeyPath<Root, Value>& keyPath) {
    keyPathToMonitorable_.insert_or_assign(keyPath, WeakRoot(root));
  }

  /// Has a function called whenever a change of the key path is reported, on whatever object, in place of the one given
  /// before, and calls it at once for the first time.
  void monitoring(const AnyKeyPath& keyPath, Update update);

  /// Takes the report of a change: calls the key path's update function, and then, if the key path is watched on this
  /// very object, does what the monitor does about a change.
  template <typename Root>
  void didSet(const AnyKeyPath& keyPath, const Root& root) {
    report(keyPath, detail::objectIdentity(root));
  }
  template <typename Root>
  void didSet(const AnyKeyPath& keyPath, const std::shared_ptr<Root>& root) {
    didSet(keyPath, *root);
  }

  /// Appends the monitor to an array, which keeps it from then on.
  void store(std::vector<std::shared_ptr<KeyPathsMonitor>>& monitors);

  /// The task of the last change that an asynchronous handler was started for.
  [[nodiscard]] const std::optional<Task<>>& onChangeTask() const noexcept { return onChangeTask_; }

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
