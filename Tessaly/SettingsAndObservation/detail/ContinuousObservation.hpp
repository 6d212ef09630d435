// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/detail/TaskLocalBinding.hpp"

namespace Tessaly::inline v1 {

class ObservationToken;

namespace detail {

class ContinuousObservationState;

template <typename T>
struct PresentValue {
  using Type = T;
};
template <typename T>
struct PresentValue<std::optional<T>> {
  using Type = T;
};

/// The default `onChangeNil` callback, which does nothing.
struct IgnoresAbsence {
  void operator()(const auto&) const noexcept {}
};

/// Binds `ObservationToken::isFirstBinding` for the callbacks of a pass.
class TESSALY_EXPORT PassBinding {
 public:
  explicit PassBinding(bool isFirst);
  PassBinding(const PassBinding&) = delete;
  PassBinding& operator=(const PassBinding&) = delete;
  ~PassBinding();

 private:
  ScopedTaskLocalBinding<bool> binding_;
};

/// The passes of a continuous observation, whatever the types of its functions are. The compiler needs this class only
/// once, but the class of the functions once for each observation of a host.
class TESSALY_EXPORT ContinuousPasses {
 public:
  ContinuousPasses(const ContinuousPasses&) = delete;
  ContinuousPasses& operator=(const ContinuousPasses&) = delete;

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  /// Makes the first pass. Returns the token that owns the observation.
  [[nodiscard]] ObservationToken begin();
  /// Makes the first pass of an observation that ends by a call of `state()->cancel()`.
  void start() { pass(true); }
  [[nodiscard]] const std::shared_ptr<ContinuousObservationState>& state() const noexcept { return state_; }

 protected:
  explicit ContinuousPasses(Isolation isolation);
  virtual ~ContinuousPasses();

  /// Makes one pass. An exception of the observed function reaches the caller.
  virtual void pass(bool isFirst) = 0;
  /// Makes the next pass after the next change of a point in the list.
  void follow(AccessList& accesses);

 private:
  void passUnlessCancelled();
  void scheduleNextPass();

  std::atomic<std::uint32_t> references_{1};
  const std::shared_ptr<ContinuousObservationState> state_;
  const Isolation isolation_;
};

/// A continuous observation with its functions.
template <typename Apply, typename OnChange, typename OnChangeNil>
class ContinuousObservation final : public ContinuousPasses {
 public:
  ContinuousObservation(Isolation isolation, Apply apply, OnChange onChange, OnChangeNil onChangeNil)
      : ContinuousPasses(std::move(isolation)),
        apply_(std::move(apply)),
        onChange_(std::move(onChange)),
        onChangeNil_(std::move(onChangeNil)) {}

 private:
  using Value = typename PresentValue<std::remove_cvref_t<decltype(std::declval<Apply&>()())>>::Type;

  void pass(bool isFirst) override {
    AccessList accesses;
    const std::optional<Value> value = apply_();
    accesses.end();
    follow(accesses);
    const PassBinding binding(isFirst);
    if (value.has_value()) callNotification("The callback of a continuous observation", onChange_, *value);
    if constexpr (!std::is_same_v<OnChangeNil, IgnoresAbsence>) {
      callNotification("The callback of a continuous observation", onChangeNil_, value);
    }
  }

  Apply apply_;
  OnChange onChange_;
  [[no_unique_address]] OnChangeNil onChangeNil_;
};

}  // namespace detail
}  // namespace Tessaly::inline v1
