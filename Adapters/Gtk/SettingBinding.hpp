// SPDX-License-Identifier: MIT
// Component: Tessaly::GtkAdapter
#pragma once

#include <gtk/gtk.h>

#include <algorithm>
#include <cmath>
#include <concepts>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Tessaly/Adapters/Gtk/Binding.hpp"
#include "Tessaly/Adapters/Gtk/FormatterHook.hpp"
#include "Tessaly/Adapters/Gtk/detail/ChosenText.hpp"
#include "Tessaly/Adapters/detail/BothWays.hpp"
#include "Tessaly/Adapters/detail/SettingOfField.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Shows a setting in a widget, and stores the value that a person chooses in the widget. A handler of the host may
/// release the widget during `show`, but GTK still uses the widget after the handlers. So a reference keeps the widget
/// alive until `show` returns.
template <typename Widget, typename Value, typename Read, typename Show>
void bindBothWays(Widget* widget, const char* signal, Default<Value> setting, Read read, Show show) {
  auto keep = [widget, show = std::move(show)](const Value& value) {
    g_object_ref(widget);
    show(value);
    g_object_unref(widget);
  };
  using Bound = BothWays<Value, Read, decltype(keep)>;
  const auto bound = Retained<Bound>::adopt(new Bound(std::move(setting), std::move(read), std::move(keep)));
  g_signal_connect_swapped(widget, signal, G_CALLBACK(+[](Bound* self) { self->store(); }), bound.get());
  constexpr GWeakNotify end = [](gpointer data, GObject*) {
    auto* const self = static_cast<Bound*>(data);
    self->end();
    self->release();
  };
  bound->retain();
  g_object_weak_ref(G_OBJECT(widget), end, bound.get());
  bound->start();
}

/// Binds a Boolean setting to a widget with the Boolean property "active", as `bindBothWays` does.
template <typename Widget>
void bindActive(Widget* widget, Default<bool> setting) {
  bindBothWays(
      widget, "notify::active", std::move(setting),
      [widget] {
        gboolean isActive = FALSE;
        g_object_get(widget, "active", &isActive, nullptr);
        return isActive != FALSE;
      },
      [widget](bool isActive) { g_object_set(widget, "active", isActive ? TRUE : FALSE, nullptr); });
}

/// The types of settings for a widget that holds a number.
template <typename Value>
concept WidgetNumber = std::same_as<Value, int> || std::same_as<Value, double>;

/// The value of a widget in the type of its setting. An `int` is the nearest one.
template <WidgetNumber Value>
Value numberForSetting(double value) {
  if constexpr (std::same_as<Value, double>) return value;
  using Limits = std::numeric_limits<int>;
  return static_cast<Value>(std::clamp(std::round(value), double{Limits::min()}, double{Limits::max()}));
}

/// The hook of a field, and the observation of the field's setting.
struct BoundField {
  Gtk4::FormatterHook hook;
  std::optional<ObservationToken> token;
};

}  // namespace detail

namespace Gtk4 {

/// Binds a setting to a check button, for the life of the button. The button shows every change of the setting, and a
/// click stores the new state.
///
/// GTK's counterpart is `g_settings_bind`, which needs a compiled schema. A change of the setting reaches the widget in
/// the next turn of `MainLoopAdapter`'s loop. If the rule of the key forbids a chosen value, the setting stores the
/// nearest end of the rule's range, or keeps its value. The widget then shows the value of the setting. An observer of
/// the setting may destroy the widget, and so may a handler of the widget's signals.
///
/// Thread contract: main-isolated.
///
///     Gtk4::bind(GTK_CHECK_BUTTON(check), Default<bool>(showsHiddenFilesKey));
///     Gtk4::bind(GTK_RANGE(scale), Default<double>(volumeKey));
///     Gtk4::bind(GTK_SPIN_BUTTON(spinButton), Default<int>(copiesKey));
///     Gtk4::bind(GTK_DROP_DOWN(dropDown), Default<std::string>(themeKey));
///     Gtk4::bind(GTK_EDITABLE(entry), interval, Default<int>(intervalKey));
inline void bind(GtkCheckButton* button, Default<bool> setting) { detail::bindActive(button, std::move(setting)); }
/// Binds a setting to a switch. In all other respects the call is like the overload for `GtkCheckButton`.
inline void bind(GtkSwitch* button, Default<bool> setting) { detail::bindActive(button, std::move(setting)); }
/// Binds a setting to a toggle button. In all other respects the call is like the overload for `GtkCheckButton`.
inline void bind(GtkToggleButton* button, Default<bool> setting) { detail::bindActive(button, std::move(setting)); }
/// Binds a setting to a scale, or to another `GtkRange`. The setting is a `double` or an `int`. An `int` gets the
/// nearest integer, and the range then shows that integer. In all other respects the call is like the overload for
/// `GtkCheckButton`.
template <detail::WidgetNumber Value>
void bind(GtkRange* range, Default<Value> setting) {
  detail::bindBothWays(
      range, "value-changed", std::move(setting),
      [range] { return detail::numberForSetting<Value>(gtk_range_get_value(range)); },
      [range](Value value) { gtk_range_set_value(range, value); });
}
/// Binds a setting to a spin button. The setting is a `double` or an `int`, as for `GtkRange`. The button stores a
/// typed number when its editing ends. A change of the setting by other code replaces an unfinished edit. In all other
/// respects the call is like the overload for `GtkCheckButton`.
///
/// A spin button writes its own text, so it cannot have a formatter. For a suffix, connect its "output" and "input"
/// signals, or use a `GtkEntry` with a formatter.
template <detail::WidgetNumber Value>
void bind(GtkSpinButton* button, Default<Value> setting) {
  detail::bindBothWays(
      button, "value-changed", std::move(setting),
      [button] { return detail::numberForSetting<Value>(gtk_spin_button_get_value(button)); },
      [button](Value value) { gtk_spin_button_set_value(button, value); });
}
/// Binds a setting to the chosen text of a drop-down list. The model of the list must be a `GtkStringList`. If the list
/// does not contain the stored text, no text is chosen. In all other respects the call is like the overload for
/// `GtkCheckButton`.
inline void bind(GtkDropDown* list, Default<std::string> setting) {
  detail::bindBothWays(
      list, "notify::selected", std::move(setting), [list] { return detail::chosenText(list); },
      [list](const std::string& text) { detail::chooseText(list, text); });
}
/// Binds a setting to a field with a formatter, for the life of the field. The field must not be a `GtkSpinButton`,
/// which stops the process. The rule of the key judges the objects of the field, so no forbidden value is stored. After
/// each successful end of editing, the binding stores the object of the field in the setting. While the field has an
/// unfinished edit, changes of the setting by other code do not change the field. In all other respects the call is
/// like the overload for `GtkCheckButton`.
///
/// The hook is destroyed with the field. The rule and the handlers of the host add to those of the binding. If a
/// handler of the host destroys the field during `bind`, do not use the result.
template <std::derived_from<Formatter> Kind, detail::FieldSetting Value>
FormatterHook& bind(GtkEditable* field, std::shared_ptr<Kind> formatter, const Default<Value>& setting) {
  const std::shared_ptr<detail::BoundField> bound(
      new detail::BoundField{FormatterHook(std::move(formatter), field), std::nullopt});
  detail::endWith(G_OBJECT(field), bound);
  bound->token.emplace(detail::SettingConnection<FormatterHook>::make(bound->hook, setting));
  return bound->hook;
}

}  // namespace Gtk4

}  // namespace Tessaly::inline v1
