// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <utility>

#include "Tessaly/Adapters/detail/Binding.hpp"
#include "Tessaly/Adapters/detail/Existence.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

namespace Tessaly::inline v1::detail {

/// The connection between a setting and a widget. The widget shows the setting, and a person's choice in the widget is
/// stored. `Read` returns the choice, if there is one. `Show` shows a value in the widget. If the widget shows another
/// value instead, such as the end of the widget's range, that other value is not stored. The widget owns this object,
/// and may be destroyed while the value is shown or stored.
template <typename Value, typename Read, typename Show>
class BothWays {
 public:
  BothWays(Default<Value> setting, Read read, Show show)
      : setting_(std::move(setting)), read_(std::move(read)), show_(std::move(show)) {}
  BothWays(const BothWays&) = delete;
  BothWays& operator=(const BothWays&) = delete;
  ~BothWays() = default;

  /// Shows the setting, now and after each change. The caller must hold a shared pointer to this object until `start`
  /// returns. Otherwise the first call of `Show` may destroy the widget, and this object with it.
  void start() {
    token_.emplace(
        follow([setting = setting_] { return setting.value(); }, [this](const Value& value) { display(value); }));
  }

  /// Stores the choice. The widget's signal calls this function after each change.
  void store() {
    if (isShowing_) return;
    const std::optional<Value> chosen = read_();
    Default<Value> setting = setting_;
    if (!existence_.outlives([&] {
          if (chosen && *chosen != setting.value()) setting.setValue(*chosen);
        })) {
      return;
    }
    display(setting.value());  // The rule of the key may have changed or refused the value.
  }

 private:
  void display(const Value& value) {
    const bool wasShowing = std::exchange(isShowing_, true);
    if (existence_.outlives([&, show = show_] { show(value); })) isShowing_ = wasShowing;
  }

  Default<Value> setting_;
  Read read_;
  Show show_;
  bool isShowing_ = false;
  Existence existence_;
  std::optional<ObservationToken> token_;
};

}  // namespace Tessaly::inline v1::detail
