// SPDX-License-Identifier: MIT
#pragma once

#include <wayland-client.h>

#include "Tessaly/Core/Base/detail/LateLibrary.hpp"

/// The functions of libwayland-client that this library calls. The inline functions of its header, such as
/// `wl_registry_bind`, must not be called: they name symbols of the library.
namespace Tessaly::inline v1::detail {

inline constinit const LateLibrary waylandLibrary{"libwayland-client.so.0"};

TESSALY_LATE_FUNCTION(waylandLibrary, wl_display_cancel_read);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_display_connect);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_display_disconnect);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_display_dispatch_pending);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_display_flush);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_display_get_error);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_display_get_fd);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_display_prepare_read);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_display_read_events);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_display_roundtrip);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_proxy_add_listener);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_proxy_destroy);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_proxy_get_version);
TESSALY_LATE_FUNCTION(waylandLibrary, wl_proxy_marshal_flags);

/// The table of an interface of the core protocol. Stops the process if this system lacks the library.
inline const wl_interface& waylandInterface(const char* symbol) noexcept {
  return *static_cast<const wl_interface*>(waylandLibrary.address(symbol));
}

}  // namespace Tessaly::inline v1::detail
