// SPDX-License-Identifier: MIT
// Component: Tessaly::QtAdapter
#pragma once

#include <QObject>
#include <QString>
#include <concepts>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "Tessaly/Adapters/detail/Binding.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The value in the form that Qt takes: a `std::string` becomes a `QString`. Other values are returned unchanged.
template <typename Value>
decltype(auto) valueForQt(const Value& value) {
  if constexpr (std::same_as<Value, std::string>) {
    return QString::fromStdString(value);
  } else {
    return (value);
  }
}

/// Makes `object` the owner of `owned`, and releases `owned` when `object` is destroyed. The caller must make this call
/// before the first call of the host's code, because that code may destroy `object`.
template <typename Owned>
void endWith(QObject* object, std::shared_ptr<Owned> owned) {
  QObject::connect(object, &QObject::destroyed, [owned = std::move(owned)]() mutable { owned.reset(); });
}

/// A binding with a function that has lost its type. So the compiler instantiates a binding once for each kind of
/// widget, setter and value, and not for each function.
template <typename Value, typename Widget, typename Setter>
void bindComputed(Widget* widget, Setter setter, Computation<Value> compute) {
  const Retained<ContinuousPasses> observation = observationOfChanges<Value>(
      std::move(compute),
      [widget, setter](const Value& value) mutable { std::invoke(setter, widget, valueForQt(value)); });
  QObject::connect(widget, &QObject::destroyed, [state = observation->state()] { state->cancel(); });
  observation->start();
}

}  // namespace detail

namespace Qt6 {

/// Keeps a widget up to date with a computed value, until the widget is destroyed. Calls `setter` with the value of
/// `compute` now, and after each change of an observable property that `compute` read.
///
/// `setter` is a member of the widget or a function that takes the widget and the value. A `std::string` becomes a
/// `QString`. For a value without an observable property, connect a signal instead. The model that `compute` reads need
/// not be a `QObject`, and needs no macro and no moc.
///
/// A change on any thread leads to a call of `setter` on the main thread, in the next turn of `MainLoopAdapter`'s loop.
/// Many changes in one turn lead to one call. A value that equals the previous value leads to no call. If `setter`
/// changes a property that `compute` read, `compute` runs again in the next turn. `compute` may return an optional
/// value; if the value is absent, `setter` is not called. `compute` must not refer to an object that is destroyed
/// before the widget, except a member of a window that then destroys the widget. For a model that may be destroyed
/// before the widget, use the other overload. `setter` may destroy the widget, even when `bind` itself calls `setter`.
///
/// These stop the process: a call of `bind` outside the main thread, and an exception of `setter` or of a later call of
/// `compute`. An exception of the first call of `compute` is passed on to the caller.
///
/// Thread contract: main-isolated.
///
///     Qt6::bind(label, &QLabel::setText, [&] { return player.label(); });
template <std::derived_from<QObject> Widget, typename Setter, std::invocable<> Compute>
void bind(Widget* widget, Setter setter, Compute compute) {
  detail::bindComputed<detail::ComputedValue<Compute>>(widget, std::move(setter), std::move(compute));
}

/// Like the overload above, for a model that may be destroyed before the widget. After that, the widget keeps the last
/// value. `compute` is a member of the model or a function that takes the model. If `compute` returns an optional
/// value, `setter` gets the optional itself. The binding does not keep the model alive.
///
///     Qt6::bind(title, &QLabel::setText, player, &Player::label);
template <std::derived_from<QObject> Widget, typename Setter, typename Model, std::invocable<Model&> Compute>
void bind(Widget* widget, Setter setter, const std::shared_ptr<Model>& model, Compute compute) {
  bind(widget, std::move(setter), detail::whileAlive(model, std::move(compute)));
}

}  // namespace Qt6

}  // namespace Tessaly::inline v1
