// SPDX-License-Identifier: MIT
#pragma once

#include <xcb/xcb.h>

#include "Tessaly/Core/Base/detail/LateLibrary.hpp"

/// The functions of libxcb that this library calls.
namespace Tessaly::inline v1::detail {

inline constinit const LateLibrary xcbLibrary{"libxcb.so.1"};

TESSALY_LATE_FUNCTION(xcbLibrary, xcb_change_property);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_change_window_attributes);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_connect);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_connection_has_error);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_create_window);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_disconnect);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_flush);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_generate_id);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_file_descriptor);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_input_focus);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_input_focus_reply);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_maximum_request_length);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_property);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_property_reply);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_property_value);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_property_value_length);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_selection_owner);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_selection_owner_reply);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_get_setup);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_intern_atom);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_intern_atom_reply);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_poll_for_event);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_send_event);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_set_selection_owner);
TESSALY_LATE_FUNCTION(xcbLibrary, xcb_setup_roots_iterator);

}  // namespace Tessaly::inline v1::detail
