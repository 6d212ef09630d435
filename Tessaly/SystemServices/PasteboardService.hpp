// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

/// The general pasteboard of the desktop.
namespace Tessaly::inline v1::PasteboardService {

/// Replaces the contents of the general pasteboard with plain text. Other programs can paste the text until this
/// process ends or other contents replace it. Waits at most 6 s: 2 s each for a connection to Wayland, a connection to
/// X11, and the offer of the contents. The call does not report a failure. After a failure, for example without a
/// display, `PasteboardBackend::current().status()` gives the reason.
///
/// Thread contract: thread-safe.
///
///     PasteboardService::write("to paste");
TESSALY_EXPORT void write(std::string_view string);

/// Puts the absolute text of a URL on the general pasteboard. Programs can paste this text as a URL or as plain text.
/// In all other respects the call is like `write` of a text.
///
/// Thread contract: thread-safe.
///
///     PasteboardService::write(URL::from("https://example.com/").value());
TESSALY_EXPORT void write(const URL& url);

}  // namespace Tessaly::inline v1::PasteboardService
