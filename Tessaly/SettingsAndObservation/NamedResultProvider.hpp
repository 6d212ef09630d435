// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <memory>
#include <utility>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// Marks a type of result that is meant for a `NamedResultProvider`: derive from it. It asks for nothing.
struct NamedResult {};

/// A declared place from which a value is obtained that lives in a box which all copies of the provider share.
///
/// For a value of each copy's own, see `PartialResultProvider`. The nearest standard facility is
/// `std::shared_ptr<const Value>`.
///
/// Thread contract: thread-safe.
///
///     struct Account : NamedResult {
///       std::string name;
///     };
///     const NamedResultProvider account(Account{{}, "Ada"});
///     std::string name = account.wrappedValue().name;
template <typename Value>
class NamedResultProvider {
 public:
  /// The box.
  class Storage_ {
   public:
    explicit Storage_(Value result) : result_(std::move(result)) {}
    [[nodiscard]] const Value& result() const noexcept { return result_; }

   private:
    Value result_;
  };

  explicit NamedResultProvider(Value result) : storage_(std::make_shared<Storage_>(std::move(result))) {}

  // No move: what would be left could give nothing.
  NamedResultProvider(const NamedResultProvider&) = default;
  NamedResultProvider& operator=(const NamedResultProvider&) = default;

  /// A copy of the value.
  [[nodiscard]] Value wrappedValue() const { return storage_->result(); }
  /// The provider itself, to be handed on in the value's place.
  [[nodiscard]] const NamedResultProvider& projectedValue() const noexcept { return *this; }

  /// The box that this provider and its copies share.
  [[nodiscard]] const std::shared_ptr<Storage_>& storage() const noexcept { return storage_; }

 private:
  std::shared_ptr<Storage_> storage_;
};

}  // namespace Tessaly::inline v1
