// SPDX-License-Identifier: MIT
// Component: Tessaly::Settings
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Requirements.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"

namespace Tessaly::inline v1 {

/// A problem of a settings store.
enum class UserDefaultsProblem : std::uint8_t {
  none,
  /// There is no place for settings: no home directory, or an identifier that cannot name a directory.
  noFolder,
  /// The directory or its files may be read only.
  readOnly,
  /// The disk, the user's quota or the process's limit for the size of files is exhausted.
  diskFull,
  /// A later version of the library has written the store in a way that this one does not know.
  newerVersion,
  /// The value is nested deeper than `PropertyList::maximumDepth`, or it or its key is larger than a record may be.
  valueTooLarge,
  /// Another error of the system, with its code.
  systemError,
  /// Another process holds the journal's lock for longer than 2 s: it may have been stopped.
  lockHeld,
  /// The property list may not or cannot be read now.
  unreadablePropertyList,
  /// The property list is malformed.
  damagedPropertyList,
  /// A journal or a record in it is malformed.
  damagedJournal,
  /// Another program has shortened or overwritten the journal while the store was open.
  overwrittenJournal,
};

/// The effect of a problem on the values of a store.
enum class UserDefaultsEffect : std::uint8_t {
  /// Nothing is lost, now or later.
  none,
  /// Values that were written since are only in memory, and end with the process.
  inMemoryOnly,
  /// Values of the file read as absent for now.
  notRead,
  /// Values that were stored may be lost, or read as former ones.
  mayBeLost,
};

/// One problem of a settings store.
struct UserDefaultsIncident {
  UserDefaultsProblem problem = UserDefaultsProblem::none;
  /// The path of the file or directory; of one that was set aside, its new path. Empty if there is none.
  std::string file = {};
  /// When the store noticed it; the last time if it has happened again.
  Date time = Date::distantPast();
  UserDefaultsEffect effect = UserDefaultsEffect::none;
  /// Whether it lasts. What is over is still listed if values may have been lost.
  bool isOngoing = true;
  /// Whether the store ends it by itself, once its reason is gone: a full disk or a held lock, for example.
  bool healsByItself = true;
  /// The system's error code; 0 if there is none.
  std::int32_t errorCode = 0;

  /// A sentence for people: what happened, to what, and what to do about it.
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  friend bool operator==(const UserDefaultsIncident&, const UserDefaultsIncident&) = default;
};

/// How a settings store is doing.
///
///     if (store->status().problem == UserDefaultsProblem::diskFull) showBanner("Settings cannot be saved.");
struct UserDefaultsStatus {
  /// The most important problem that lasts: one that keeps writes from the disk before one that keeps values from being
  /// read. `none` if nothing is wrong now.
  UserDefaultsProblem problem = UserDefaultsProblem::none;
  /// The system's error code that goes with the problem; 0 if there is none.
  std::int32_t errorCode = 0;
  /// How many keys were written since the problem began, and are kept in memory only.
  std::int64_t unstoredKeys = 0;
  /// The directory of the store; empty for one that has none.
  std::string folder = {};
  /// Where a damaged property list was set aside, if that happened since the store was opened.
  std::optional<std::string> damagedFile = std::nullopt;
  /// Everything that is known to be wrong, or was and may have lost values since the store was opened; the latest last.
  std::vector<UserDefaultsIncident> problems = {};

  friend bool operator==(const UserDefaultsStatus&, const UserDefaultsStatus&) = default;
};

}  // namespace Tessaly::inline v1
