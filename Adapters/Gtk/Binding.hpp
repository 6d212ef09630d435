// SPDX-License-Identifier: MIT
// Component: Tessaly::GtkAdapter
#pragma once

#include <gtk/gtk.h>

#include <concepts>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "Tessaly/Adapters/detail/Binding.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The value in the form that GTK takes: a `std::string` becomes a `const char*`. Other values are returned unchanged.
template <typename Value>
auto valueForGtk(const Value& value) {
  if constexpr (std::same_as<Value, std::string>) {
    return value.c_str();
  } else {
    return value;
  }
}

/// Makes `object` the owner of `owned`, and releases `owned` when `object` is destroyed. The caller must call this
/// function before any code of the host runs, because that code may destroy `object`.
template <typename Owned>
void endWith(GObject* object, std::shared_ptr<Owned> owned) {
  using Reference = std::shared_ptr<Owned>;
  constexpr GWeakNotify end = [](gpointer data, GObject*) { delete static_cast<Reference*>(data); };
  g_object_weak_ref(object, end, new Reference(std::move(owned)));
}

/// A binding with a function that has lost its type. So the compiler instantiates a binding once for each kind of
/// widget, setter and value, and not for each function.
template <typename Value, typename Widget, typename Setter>
void bindComputed(Widget* widget, Setter setter, Computation<Value> compute) {
  const Retained<ContinuousPasses> observation = observationOfChanges<Value>(
      std::move(compute),
      [widget, setter](const Value& value) mutable { std::invoke(setter, widget, valueForGtk(value)); });
  endWith(G_OBJECT(widget), std::make_shared<ObservationToken>(observation->state()));
  observation->start();
}

}  // namespace detail

namespace Gtk4 {

/// Keeps a widget up to date with a computed value, until the widget is destroyed. Calls `setter` with the value of
/// `compute` now, and after each change of an observable property that `compute` read.
///
/// `setter` takes the pointer `widget`, without a cast to another type, and the value. A `std::string` becomes a
/// `const char*`. The model that `compute` reads need not be a `GObject`. GTK's counterpart is `GBinding`, which binds
/// properties of `GObject`s.
///
/// A change on any thread leads to a call of `setter` on the main thread, in the next turn of `MainLoopAdapter`'s loop.
/// Many changes in one turn lead to one call. A value that equals the previous value leads to no call. If `setter`
/// changes a property that `compute` read, `compute` runs again in the next turn. `compute` may return an optional
/// value; if the value is absent, `setter` is not called. `compute` must not refer to an object that is destroyed
/// before the widget. For a model that may be destroyed before the widget, use the other overload. `setter` may destroy
/// the widget, even when `bind` itself calls `setter`.
///
/// These stop the process: a call of `bind` outside the main thread, and an exception of `setter` or of a later call of
/// `compute`. An exception of the first call of `compute` is passed on to the caller.
///
/// Thread contract: main-isolated.
///
///     Gtk4::bind(GTK_LABEL(label), gtk_label_set_text, [&] { return player.label(); });
template <typename Widget, typename Setter, std::invocable<> Compute>
void bind(Widget* widget, Setter setter, Compute compute) {
  detail::bindComputed<detail::ComputedValue<Compute>>(widget, std::move(setter), std::move(compute));
}

/// Like the overload above, for a model that may be destroyed before the widget. After that, the widget keeps the last
/// value. `compute` is a member of the model or a function that takes the model. The binding does not keep the model
/// alive.
///
///     Gtk4::bind(GTK_LABEL(title), gtk_label_set_text, player, &Player::label);
template <typename Widget, typename Setter, typename Model, std::invocable<Model&> Compute>
void bind(Widget* widget, Setter setter, const std::shared_ptr<Model>& model, Compute compute) {
  bind(widget, std::move(setter), detail::whileAlive(model, std::move(compute)));
}

}  // namespace Gtk4

}  // namespace Tessaly::inline v1
