// SPDX-License-Identifier: MIT
// Component: Tessaly::Observation
#pragma once

#include <atomic>
#include <functional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/KeyPath.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"

namespace Tessaly::inline v1 {

/// Records the observers of values that a class computes or stores elsewhere. The getters of the class must call
/// `access`. Its setters must call `withMutation`, or `willSet` and `didSet`.
///
/// Prefer `Property` for an ordinary member. A registrar takes the memory of one pointer until one of its properties is
/// tracked. Until then, each call of `willSet` or `didSet` costs one load. A registrar cannot be copied, so a copyable
/// class needs a copy constructor that gives the copy a new registrar. The destruction of a registrar counts as a
/// change of every tracked property.
///
/// Thread contract: thread-safe. Only construction and destruction need exclusive access.
///
///     class Thermometer {
///      public:
///       double celsius() const {
///         registrar_.access(*this, keyPath<&Thermometer::celsius>);
///         return sensor_.read();
///       }
///       void sensorHasNews() {
///         registrar_.withMutation(*this, keyPath<&Thermometer::celsius>, [] {});
///       }
///
///      private:
///       Sensor sensor_;
///       ObservationRegistrar registrar_;
///     };
class ObservationRegistrar {
 public:
  constexpr ObservationRegistrar() noexcept = default;
  ObservationRegistrar(const ObservationRegistrar&) = delete;
  ObservationRegistrar& operator=(const ObservationRegistrar&) = delete;
  ~ObservationRegistrar() {
    if (first_.load(std::memory_order_acquire) != nullptr) endAll();
  }

  /// Records a read of the property if this thread is tracking. Call this function before reading the value. A
  /// registrar does not distinguish subjects, so each object needs its own registrar.
  template <typename Root, typename Value>
  void access(const std::type_identity_t<Root>& subject, const KeyPath<Root, Value>& keyPath) const {
    static_cast<void>(subject);
    if (detail::currentAccessList != nullptr) [[unlikely]]
      recordAccess(keyPath);
  }

  /// Announces that the property is about to change. The caller must call `didSet` after the change.
  template <typename Root, typename Value>
  void willSet(const std::type_identity_t<Root>& subject, const KeyPath<Root, Value>& keyPath) const noexcept {
    static_cast<void>(subject);
    if (detail::ObservationPoint* point = find(keyPath); point != nullptr) point->willChange();
  }
  /// Announces that the property has changed.
  template <typename Root, typename Value>
  void didSet(const std::type_identity_t<Root>& subject, const KeyPath<Root, Value>& keyPath) const noexcept {
    static_cast<void>(subject);
    if (detail::ObservationPoint* point = find(keyPath); point != nullptr) point->didChange();
  }

  /// Announces the beginning of a change, calls the body to make the change, and announces the end. Announces the end
  /// even if the body throws. Returns the body's result.
  template <typename Root, typename Value, typename Body>
  decltype(auto) withMutation(const std::type_identity_t<Root>& subject, const KeyPath<Root, Value>& keyPath,
                              Body&& body) const {
    willSet(subject, keyPath);
    const Announcement<Root, Value> announcement{*this, subject, keyPath};
    return std::invoke(std::forward<Body>(body));
  }

 private:
  /// A tracked property. The entries stay until the registrar ends.
  struct Entry;

  template <typename Root, typename Value>
  struct Announcement {
    const ObservationRegistrar& registrar;
    const Root& subject;
    const KeyPath<Root, Value>& keyPath;
    ~Announcement() { registrar.didSet(subject, keyPath); }
  };

  [[nodiscard]] detail::ObservationPoint* find(const AnyKeyPath& keyPath) const noexcept {
    return first_.load(std::memory_order_acquire) == nullptr ? nullptr : findSlowly(keyPath);
  }
  [[nodiscard]] TESSALY_EXPORT detail::ObservationPoint* findSlowly(const AnyKeyPath& keyPath) const noexcept;
  TESSALY_EXPORT void recordAccess(const AnyKeyPath& keyPath) const;
  TESSALY_EXPORT void endAll() noexcept;

  /// The newest entry.
  mutable std::atomic<Entry*> first_{nullptr};
};

}  // namespace Tessaly::inline v1
