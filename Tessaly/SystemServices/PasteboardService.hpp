// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

/// What the user can paste elsewhere.
namespace Tessaly::inline v1::PasteboardService {

/// Puts plain text on the general pasteboard, in the place of all that is there. Other programs can paste it as long as
/// this process lives, or until something else is put there. Waits for the display, at most two seconds; where there is
/// none, `PasteboardBackend::current().status()` says so.
///
/// Thread contract: thread-safe.
///
///     PasteboardService::write("to paste");
TESSALY_EXPORT void write(std::string_view string);

/// The same with a URL: its absolute text, as a URL for programs that know what that is and as plain text for others.
///
/// Thread contract: thread-safe.
///
///     PasteboardService::write(URL::from("https://example.com/").value());
TESSALY_EXPORT void write(const URL& url);

}  // namespace Tessaly::inline v1::PasteboardService
