// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"

namespace Tessaly::inline v1 {

/// A value that is computed asynchronously at its first use and then kept.
///
/// `wrappedValue()` checks whether a value is kept. The function that it returns does not check again. So, if
/// `wrappedValue()` returned the function before a value was kept, every call of the function computes the value. Such
/// calls may overlap. Each call gives the result of its own computation. The result of the computation that ends last
/// is kept. The nearest standard facility, `std::shared_future`, shares the result of exactly one computation, even if
/// that computation fails.
///
/// Copies share the kept value. Unless a later computation replaces the value, it is kept at least until the last copy
/// is destroyed.
///
/// Thread contract: thread-safe. The provider may run in several tasks at once.
///
///     AsyncLazy<Catalogue> catalogue([] { return downloadCatalogue(); });
///     Catalogue first = co_await catalogue.wrappedValue()();
///     Catalogue again = co_await catalogue.wrappedValue()();  // At once.
template <std::copyable Value>
class AsyncLazy {
 public:
  /// Keeps the asynchronous or plain function that computes the value. Computes nothing yet.
  template <typename Provider>
    requires std::copy_constructible<Provider> && std::is_invocable_v<Provider&>
  explicit AsyncLazy(Provider provider) : valueProvider_(asynchronous(std::move(provider))) {}

  /// Returns a function that gives the value. If a value is kept at this moment, the function always gives that value.
  /// Otherwise each call of the function runs the provider and keeps the result. If the provider throws, the function
  /// passes on the exception, and the kept value does not change.
  [[nodiscard]] const std::function<Async<Value>()> wrappedValue() const {
    if (auto value = storage_->value()) return [value = std::move(value)] { return ready(value); };
    return [storage = storage_, provider = valueProvider_] { return compute(storage, provider); };
  }

 private:
  using ValueProvider = std::function<Async<Value>()>;

  class Storage {
   public:
    std::shared_ptr<const Value> value() {
      UnfairLock::Guard guard(lock_);
      return value_;
    }
    void setValue(std::shared_ptr<const Value> value) {
      UnfairLock::Guard guard(lock_);
      value_.swap(value);
    }

   private:
    UnfairLock lock_;
    std::shared_ptr<const Value> value_ TESSALY_GUARDED_BY(lock_);
  };

  template <typename Provider>
  static ValueProvider asynchronous(Provider provider) {
    if constexpr (isAsync<std::invoke_result_t<Provider&>>) {
      return provider;
    } else {
      return [provider = std::move(provider)] { return call(provider); };
    }
  }
  template <typename Provider>
  static Async<Value> call(Provider provider) {
    co_return provider();
  }
  static Async<Value> ready(std::shared_ptr<const Value> value) { co_return *value; }
  static Async<Value> compute(std::shared_ptr<Storage> storage, ValueProvider provider) {
    const auto value = std::make_shared<const Value>(co_await provider());
    storage->setValue(value);
    co_return *value;
  }

  std::shared_ptr<Storage> storage_ = std::make_shared<Storage>();
  ValueProvider valueProvider_;
};

template <typename Provider>
AsyncLazy(Provider) -> AsyncLazy<detail::AsyncInvokeResult<Provider&>>;

}  // namespace Tessaly::inline v1
