// SPDX-License-Identifier: MIT
#pragma once

#include <glib-object.h>

namespace Tessaly::inline v1::detail {

/// Keeps an object that GTK still uses after the present signal, although a handler of the host may release the object.
inline void keepForThisTurn(GObject* object) {
  constexpr GSourceFunc release = [](gpointer kept) -> gboolean {
    g_object_unref(kept);
    return G_SOURCE_REMOVE;
  };
  g_idle_add_full(G_PRIORITY_HIGH, release, g_object_ref(object), nullptr);
}

}  // namespace Tessaly::inline v1::detail
