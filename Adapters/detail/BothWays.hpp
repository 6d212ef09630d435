// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <utility>

#include "Tessaly/Adapters/detail/Binding.hpp"
#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SettingsAndObservation/detail/ContinuousObservation.hpp"
#include "Tessaly/SettingsAndObservation/detail/ContinuousObservationState.hpp"

namespace Tessaly::inline v1::detail {

/// The choice of a person in a widget with a range. Absent if the widget shows the setting as well as it can: a program
/// that narrows the range, and so moves the widget's value to an end, chooses nothing.
template <typename Value>
std::optional<Value> chosenInRange(Value shown, Value setting, Value lowest, Value highest) {
  const Value nearest = setting < lowest ? lowest : setting > highest ? highest : setting;
  return shown == nearest ? std::nullopt : std::optional(shown);
}

/// The connection between a setting and a widget: an observation that shows the setting in the widget, and a function
/// that stores a person's choice. `Read` gets the value of the setting and returns the choice, if there is one. `Show`
/// shows a value in the widget. If the widget shows another value instead, such as the end of the widget's range, that
/// other value is not stored. The end of the widget must call `end()`, also while the value is shown or stored.
template <typename Value, typename Read, typename Show>
class BothWays final : public ContinuousPasses {
 public:
  BothWays(Default<Value> setting, Read read, Show show)
      : ContinuousPasses(Isolation::main()),
        setting_(std::move(setting)),
        read_(std::move(read)),
        show_(std::move(show)) {
    assertMainIsolated("Tessaly/Binding", __LINE__);
  }

  /// Ends the connection. Afterwards nothing uses the widget.
  void end() noexcept { state()->cancel(); }

  /// Calls `setUp`, whose changes of the widget are not stored, and then starts unless `setUp` has ended the widget.
  template <typename SetUp>
  void startAfter(SetUp setUp) {
    const auto self = Retained<BothWays>::sharing(*this);
    isShowing_ = true;
    setUp();
    isShowing_ = false;
    if (!state()->isCancelled()) start();
  }

  /// Stores the choice. The widget's signal calls this function after each change.
  void store() {
    if (isShowing_) return;
    const Value setting = setting_.value();
    const std::optional<Value> chosen = read_(setting);
    const auto self = Retained<BothWays>::sharing(*this);
    if (chosen && *chosen != setting) setting_.setValue(*chosen);
    show();  // The rule may have changed or refused the value.
  }

  /// Shows the setting again. The widget's signal calls this function when the widget can show other values than
  /// before.
  void show() {
    if (isShowing_) return;
    const auto self = Retained<BothWays>::sharing(*this);
    if (!state()->isCancelled()) display(setting_.value());
  }

 private:
  void pass(bool isFirst) override {
    AccessList accesses;
    const Value value = setting_.value();
    accesses.end();
    follow(accesses);
    const PassBinding binding(isFirst);
    const auto show = [&] { display(value); };
    callNotification("The callback of a continuous observation", show);
  }

  /// The caller must hold a reference to this object, because the widget may end during the call.
  void display(const Value& value) {
    const bool wasShowing = std::exchange(isShowing_, true);
    show_(value);
    isShowing_ = wasShowing;
  }

  Default<Value> setting_;
  Read read_;
  Show show_;
  bool isShowing_ = false;
};

}  // namespace Tessaly::inline v1::detail
