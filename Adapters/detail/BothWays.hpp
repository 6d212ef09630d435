// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <utility>

#include "Tessaly/Adapters/detail/Binding.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

namespace Tessaly::inline v1::detail {

/// The connection between a setting and a widget. The widget shows the setting, and a person's choice in the widget is
/// stored. `Read` returns the choice, if there is one. `Show` shows a value in the widget. If the widget shows another
/// value instead, such as the end of the widget's range, that other value is not stored.
template <typename Value, typename Read, typename Show>
class BothWays {
 public:
  BothWays(Default<Value> setting, Read read, Show show)
      : setting_(std::move(setting)),
        read_(std::move(read)),
        show_(std::move(show)),
        token_(
            follow([setting = setting_] { return setting.value(); }, [this](const Value& value) { display(value); })) {}
  BothWays(const BothWays&) = delete;
  BothWays& operator=(const BothWays&) = delete;
  ~BothWays() = default;

  /// Stores the choice. The widget's signal calls this function after each change.
  void store() {
    if (isShowing_) return;
    const std::optional<Value> chosen = read_();
    if (chosen && *chosen != setting_.value()) setting_.setValue(*chosen);
    display(setting_.value());  // The rule of the key may have changed or refused the value.
  }

 private:
  void display(const Value& value) {
    isShowing_ = true;
    show_(value);
    isShowing_ = false;
  }

  Default<Value> setting_;
  Read read_;
  Show show_;
  bool isShowing_ = false;
  ObservationToken token_;
};

}  // namespace Tessaly::inline v1::detail
