// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace Tessaly::inline v1::detail {

/// Asks the portal of documents for the directory that shows the granted documents, each in a directory named by its
/// identifier. The bus starts the portal if it is not running. Throws `DocumentError`. Waits at most 2 s for the bus
/// and 2 s for the portal.
///
/// Thread contract: thread-safe.
[[nodiscard]] std::string directoryOfDocuments();

}  // namespace Tessaly::inline v1::detail
