// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "Tessaly/Core/Foundation/Bundle.hpp"

namespace Tessaly::inline v1::detail {

// The ELF note that the CMake function `tessaly_bundle` puts into an executable. The note's owner is "Tessaly" and its
// type is 1. The note's description contains keys and values in turn. A zero byte ends each key and each value. The key
// "CFBundleLocalizations" comes once for every localization.

/// Searches for the note of `tessaly_bundle` in a segment of ELF notes (`PT_NOTE`) with the given alignment. Absent if
/// the note is missing. A damaged note ends the search without a result.
[[nodiscard]] TESSALY_EXPORT std::optional<BundleInformation> findBundleNote(std::span<const std::byte> segment,
                                                                             std::size_t alignment);

/// Searches for the note of `tessaly_bundle` in the main executable. Absent if the note is missing.
[[nodiscard]] std::optional<BundleInformation> readMainBundleNote();

}  // namespace Tessaly::inline v1::detail
