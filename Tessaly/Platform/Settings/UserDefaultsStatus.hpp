// SPDX-License-Identifier: MIT
// Component: Tessaly::Settings
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// Why a store cannot keep what is written to it; the values stay in memory meanwhile.
enum class UserDefaultsProblem : std::uint8_t {
  none,
  /// Nobody says where settings belong: no home folder, or an identifier that cannot name a folder.
  noFolder,
  /// The folder or its files may be read only.
  readOnly,
  /// The disk or the user's quota is full.
  diskFull,
  /// A later version of the library has written the store in a way that this one does not know.
  newerVersion,
  /// The value is nested deeper than `PropertyList::maximumDepth`, or it or its key is larger than a record may be.
  valueTooLarge,
  /// Some other error of the system, told by its code.
  systemError,
};

/// How a settings store is doing.
///
///     if (store->status().problem == UserDefaultsProblem::diskFull) showBanner("Settings cannot be saved.");
struct UserDefaultsStatus {
  /// What keeps writes from the disk now; `none` if nothing does. Of a store that is opened for reading only, what kept
  /// a part of it from being read.
  UserDefaultsProblem problem = UserDefaultsProblem::none;
  /// The system's error code that goes with the problem; 0 if there is none.
  std::int32_t errorCode = 0;
  /// How many keys were written since the problem began, and are kept in memory only.
  std::int64_t unstoredKeys = 0;
  /// The folder of the store; empty for one that has none.
  std::string folder = {};
  /// Where a damaged file was put aside, if that happened since the store was opened.
  std::optional<std::string> damagedFile = std::nullopt;

  friend bool operator==(const UserDefaultsStatus&, const UserDefaultsStatus&) = default;
};

}  // namespace Tessaly::inline v1
