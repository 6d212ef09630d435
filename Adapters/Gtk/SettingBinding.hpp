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
#include <type_traits>
#include <utility>

#include "Tessaly/Adapters/Gtk/Binding.hpp"
#include "Tessaly/Adapters/Gtk/FormatterHook.hpp"
#include "Tessaly/Adapters/Gtk/detail/ChosenText.hpp"
#include "Tessaly/Adapters/Gtk/detail/KeepForThisTurn.hpp"
#include "Tessaly/Adapters/detail/BothWays.hpp"
#include "Tessaly/Adapters/detail/SettingOfField.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Connects a setting with a widget, which stores the value that a person chooses in the widget. The caller starts the
/// result, which then shows the setting. A handler of the host may release the widget during `show`, but GTK still uses
/// the widget after the handlers. So a reference keeps the widget alive until `show` returns.
template <typename Widget, typename Value, typename Read, typename Show>
auto connectBothWays(Widget* widget, const char* signal, Default<Value> setting, Read read, Show show) {
  auto keep = [widget, show = std::move(show)](const Value& value) {
    g_object_ref(widget);
    show(value);
    g_object_unref(widget);
  };
  using Bound = BothWays<Value, Read, decltype(keep)>;
  auto bound = Retained<Bound>::adopt(new Bound(std::move(setting), std::move(read), std::move(keep)));
  g_signal_connect_swapped(widget, signal, G_CALLBACK(+[](Bound* self) { self->store(); }), bound.get());
  constexpr GWeakNotify end = [](gpointer data, GObject*) {
    auto* const self = static_cast<Bound*>(data);
    self->end();
    self->release();
  };
  bound->retain();
  g_object_weak_ref(G_OBJECT(widget), end, bound.get());
  return bound;
}

/// Binds a Boolean setting to a widget with the Boolean property "active".
template <typename Widget>
void bindActive(Widget* widget, Default<bool> setting) {
  const auto read = [widget](bool) {
    gboolean isActive = FALSE;
    g_object_get(widget, "active", &isActive, nullptr);
    return isActive != FALSE;
  };
  const auto show = [widget](bool isActive) { g_object_set(widget, "active", isActive ? TRUE : FALSE, nullptr); };
  connectBothWays(widget, "notify::active", std::move(setting), read, show)->start();
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

/// GTK's functions of a widget with a range.
template <typename Widget>
struct RangeFunctions {
  GtkAdjustment* (*adjustment)(Widget*);
  void (*setRange)(Widget*, double, double);
  double (*value)(Widget*);
  void (*setValue)(Widget*, double);
  /// The value that the widget takes by itself in place of a value that it shows.
  double (*rounded)(Widget*, double);
};

/// A spin button reads its own text when its editing ends, and the text has the button's digits only.
inline double roundedToDigits(GtkSpinButton* button, double value) {
  char* const text = g_strdup_printf("%.*f", static_cast<int>(gtk_spin_button_get_digits(button)), value);
  const double rounded = g_strtod(text, nullptr);
  g_free(text);
  return rounded;
}

/// Binds a setting of a number to a widget, which gets the range of the key.
template <typename Widget, WidgetNumber Value>
void bindInRange(Widget* widget, Default<Value> setting, const RangeFunctions<Widget>& gtk) {
  const auto lowest = setting.key().lowestValue();
  const auto highest = setting.key().highestValue();
  const auto read = [widget, gtk](Value value) {
    GtkAdjustment* const range = gtk.adjustment(widget);
    const double last = gtk_adjustment_get_upper(range) - gtk_adjustment_get_page_size(range);
    const auto chosen = chosenInRange<double>(gtk.value(widget), value, gtk_adjustment_get_lower(range), last);
    if (!chosen || *chosen == gtk.rounded(widget, value)) return std::optional<Value>();
    return std::optional(numberForSetting<Value>(*chosen));
  };
  const auto bound = connectBothWays(widget, "value-changed", std::move(setting), read,
                                     [widget, gtk](Value value) { gtk.setValue(widget, value); });
  using Bound = std::remove_cvref_t<decltype(*bound)>;
  constexpr auto show = +[](GtkAdjustment* adjustment, gpointer self) {
    keepForThisTurn(G_OBJECT(adjustment));
    static_cast<Bound*>(self)->show();
  };
  constexpr auto release = +[](gpointer self, GClosure*) { static_cast<Bound*>(self)->release(); };
  bound->retain();  // The adjustment may outlive the widget.
  g_signal_connect_data(gtk.adjustment(widget), "changed", G_CALLBACK(show), bound.get(), release, GConnectFlags{});
  g_object_ref(widget);
  bound->startAfter([&] {
    const double page = gtk_adjustment_get_page_size(gtk.adjustment(widget));
    if (lowest && highest) gtk.setRange(widget, *lowest, *highest + page);  // The value ends a page below the range.
  });
  g_object_unref(widget);
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
/// nearest integer, and the range then shows that integer. The adjustment gets the range of the key (`within`). The
/// host may change its range afterwards: the widget then shows the value of the range that is nearest to the setting,
/// and the setting keeps its value. The host must not replace the adjustment. In all other respects the call is like
/// the overload for `GtkCheckButton`.
template <detail::WidgetNumber Value>
void bind(GtkRange* range, Default<Value> setting) {
  detail::bindInRange<GtkRange>(range, std::move(setting),
                                {gtk_range_get_adjustment, gtk_range_set_range, gtk_range_get_value,
                                 gtk_range_set_value, [](GtkRange*, double value) { return value; }});
}
/// Binds a setting to a spin button, which stores a typed number when its editing ends. A change of the setting by
/// other code replaces an unfinished edit. The button rounds the value that it shows to its `digits`, and the binding
/// does not store the rounded value. In all other respects the call is like the overload for `GtkRange`.
///
/// A spin button writes its own text, so it cannot have a formatter. For a suffix, connect its "output" and "input"
/// signals, or use a `GtkEntry` with a formatter.
template <detail::WidgetNumber Value>
void bind(GtkSpinButton* button, Default<Value> setting) {
  detail::bindInRange<GtkSpinButton>(button, std::move(setting),
                                     {gtk_spin_button_get_adjustment, gtk_spin_button_set_range,
                                      gtk_spin_button_get_value, gtk_spin_button_set_value, detail::roundedToDigits});
}
/// Binds a setting to the chosen text of a drop-down list. The model of the list must be a `GtkStringList`. If the list
/// does not contain the stored text, no text is chosen. In all other respects the call is like the overload for
/// `GtkCheckButton`.
inline void bind(GtkDropDown* list, Default<std::string> setting) {
  const auto read = [list](const std::string&) { return detail::chosenText(list); };
  const auto show = [list](const std::string& text) { detail::chooseText(list, text); };
  detail::connectBothWays(list, "notify::selected", std::move(setting), read, show)->start();
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
