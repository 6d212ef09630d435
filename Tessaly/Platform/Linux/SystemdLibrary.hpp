// SPDX-License-Identifier: MIT
#pragma once

#include <systemd/sd-bus.h>

#include <cerrno>

#include "Tessaly/Core/Base/detail/LateLibrary.hpp"

/// The functions of libsystemd that our libraries call.
namespace Tessaly::inline v1::detail {

inline constinit const LateLibrary systemdLibrary{"libsystemd.so.0"};

TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_add_match);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_add_match_async);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_call);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_call_async);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_close_unref);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_error_free);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_get_fd);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_get_unique_name);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_is_open);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_is_ready);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_match_signal);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_match_signal_async);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_append);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_at_end);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_enter_container);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_exit_container);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_get_bus);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_get_error);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_get_path);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_get_sender);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_is_method_error);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_new_method_call);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_read_basic);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_set_auto_start);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_skip);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_message_unref);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_open_system);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_open_user);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_process);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_service_name_is_valid);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_set_method_call_timeout);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_slot_unref);
TESSALY_LATE_FUNCTION(systemdLibrary, sd_bus_wait);

/// A bus that a process can connect to.
enum class Bus : bool { session, system };

/// Begins to connect to a bus. Returns a negative system error code if that fails, and `-ELIBACC` if this system lacks
/// libsystemd.
inline int openBus(Bus which, sd_bus** bus) noexcept {
  if (!systemdLibrary.isLoaded()) return -ELIBACC;
  return which == Bus::session ? sd_bus_open_user(bus) : sd_bus_open_system(bus);
}

}  // namespace Tessaly::inline v1::detail
