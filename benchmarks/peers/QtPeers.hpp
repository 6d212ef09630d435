// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "Batch.hpp"

/// The facilities of Qt beside colours and versions. Its texts are UTF-16; those of the batches are made in advance.
namespace Tessaly::Benchmarks::QtPeers {

/// `QColor::fromString` of each text.
Batch parseColors(const std::vector<std::string>& texts);

/// `QVersionNumber::fromString` of each text.
Batch parseVersions(const std::vector<std::string>& texts);

}  // namespace Tessaly::Benchmarks::QtPeers
