// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include "Tessaly/Adapters/Gtk/detail/EditableText.hpp"

namespace Tessaly::inline v1::detail {

/// The connections of a field's signals with member functions of `Owner`. The destruction of this object ends them.
template <typename Owner>
class FieldConnections {
 public:
  FieldConnections(const EditableText& text, Owner& owner) : text_(text), owner_(owner) {}
  FieldConnections(const FieldConnections&) = delete;
  FieldConnections& operator=(const FieldConnections&) = delete;
  ~FieldConnections() {
    if (text_.isThere()) g_signal_handlers_disconnect_by_data(text_.editable(), &owner_);
  }

  /// Calls `handler` at each emission of a signal. Does nothing if the field has no such signal. The parameters of
  /// `handler` are the first parameters of the signal, without the field.
  template <auto handler>
  void connect(const char* signal) {
    connect(signal, callback<handler>(handler), G_CONNECT_SWAPPED);
  }
  /// Calls `handler` after the field itself has handled the signal. In all other respects the same as `connect`.
  template <auto handler>
  void connectAfter(const char* signal) {
    connect(signal, callback<handler>(handler), static_cast<GConnectFlags>(G_CONNECT_AFTER | G_CONNECT_SWAPPED));
  }

 private:
  template <auto handler, typename Result, typename... Arguments>
  static GCallback callback(Result (Owner::*)(Arguments...)) {
    return G_CALLBACK(
        +[](Owner* owner, Arguments... arguments) { static_cast<void>((owner->*handler)(arguments...)); });
  }

  void connect(const char* signal, GCallback callback, GConnectFlags flags) {
    guint id = 0;
    GQuark detail = 0;
    if (g_signal_parse_name(signal, G_OBJECT_TYPE(text_.editable()), &id, &detail, TRUE) == 0) return;
    g_signal_connect_data(text_.editable(), signal, callback, &owner_, nullptr, flags);
  }

  const EditableText& text_;
  Owner& owner_;
};

}  // namespace Tessaly::inline v1::detail
