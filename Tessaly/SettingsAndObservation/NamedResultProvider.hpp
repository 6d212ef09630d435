// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <memory>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/SettingsAndObservation/detail/Unassignable.hpp"

namespace Tessaly::inline v1 {

/// An empty base that marks a result type for a `NamedResultProvider`. The provider also accepts types without this
/// base.
struct NamedResult {};

/// A copyable provider of one constant value. All copies of the provider share one stored value.
///
/// `PartialResultProvider` gives each copy its own value. The nearest standard facility is `std::shared_ptr<const
/// Value>`.
///
/// Thread contract: thread-safe, except for assignment.
///
///     struct Account : NamedResult {
///       std::string name;
///     };
///     const NamedResultProvider account(Account{{}, "Ada"});
///     std::string name = account.wrappedValue().name;
template <typename Value>
class NamedResultProvider {
 public:
  /// The storage that a provider and its copies share.
  class Storage_ {
   public:
    explicit Storage_(Value result) : result_(std::move(result)) {}
    [[nodiscard]] const Value& result() const noexcept TESSALY_LIFETIMEBOUND { return result_; }

   private:
    Value result_;
  };

  explicit NamedResultProvider(Value result) : storage_(std::make_shared<Storage_>(std::move(result))) {}

  // There is no move, because a moved-from provider could not give a value.
  NamedResultProvider(const NamedResultProvider&) = default;
  NamedResultProvider& operator=(const NamedResultProvider&) = default;

  /// A copy of the value.
  [[nodiscard]] detail::Unassignable<Value> wrappedValue() const { return storage_->result(); }
  /// The provider itself, to be passed on instead of the value.
  [[nodiscard]] const NamedResultProvider& projectedValue() const noexcept { return *this; }

  /// The storage that this provider and its copies share.
  [[nodiscard]] const std::shared_ptr<Storage_>& storage() const noexcept { return storage_; }

 private:
  std::shared_ptr<Storage_> storage_;
};

}  // namespace Tessaly::inline v1
