// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Tessaly/Core/Foundation/URL.hpp"

namespace keeper {

/// The directory to show: the one of the command line, else the one that was shown last, else the downloads. The next
/// start finds it again, also after it was renamed.
[[nodiscard]] Tessaly::URL directoryToShow(const std::string& argument, const std::string& downloads);

/// Stores the directory for the next start. May wait for the portal of documents, so the main thread does not call it
/// while it shows a window.
void remember(const Tessaly::URL& directory);

}  // namespace keeper
