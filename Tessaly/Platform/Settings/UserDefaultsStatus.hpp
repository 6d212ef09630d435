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

/// A problem of a settings store. The problems from `noFolder` to `lockHeld` prevent writes.
enum class UserDefaultsProblem : std::uint8_t {
  none,
  /// There is no place for settings: no home directory, or an identifier that cannot name a directory.
  noFolder,
  /// The directory or its files are read-only.
  readOnly,
  /// The disk, the user's quota or the process's limit for the size of files is exhausted.
  diskFull,
  /// A later version of the library has written the store in an unknown format.
  newerVersion,
  /// The depth of the value reaches `PropertyList::maximumDepth`, or the keys and values of one write exceed 1 GiB.
  valueTooLarge,
  /// Another error of the system, with its code.
  systemError,
  /// Another process holds the journal's lock for longer than 2 s. That process may have been stopped.
  lockHeld,
  /// The property list is unreadable now.
  unreadablePropertyList,
  /// The property list is malformed.
  damagedPropertyList,
  /// A journal or a record in it is malformed.
  damagedJournal,
  /// Another program has shortened or overwritten the journal while the store was open.
  overwrittenJournal,
};

/// The effect of a problem on the values of a store, the mildest first.
enum class UserDefaultsEffect : std::uint8_t {
  /// Nothing is lost, now or later.
  none,
  /// Later values are only in memory, and are lost when the process ends.
  inMemoryOnly,
  /// The store treats values of the file as absent at present.
  notRead,
  /// Stored values may be lost, or replaced by earlier values.
  mayBeLost,
};

/// One problem of a settings store.
struct UserDefaultsIncident {
  UserDefaultsProblem problem = UserDefaultsProblem::none;
  /// The path of the file or directory. The new path if it was set aside. Empty if there is none.
  std::string file = {};
  /// The time at which the store detected the problem, or detected it again.
  Date time = Date::distantPast();
  UserDefaultsEffect effect = UserDefaultsEffect::none;
  /// Whether the problem still exists. Past problems are listed only for damaged and overwritten files.
  bool isOngoing = true;
  /// Whether the problem ends without help when its cause ends, such as a full disk or a held lock.
  bool healsByItself = true;
  /// The system's error code; 0 if there is none.
  std::int32_t errorCode = 0;

  /// A sentence for people: what happened, to what, and what to do about it.
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  friend bool operator==(const UserDefaultsIncident&, const UserDefaultsIncident&) = default;
};

/// The state of a settings store.
///
///     if (store->status().problem == UserDefaultsProblem::diskFull) showBanner("Settings cannot be saved.");
struct UserDefaultsStatus {
  /// The most important present problem. A problem that prevents writes precedes one that prevents reads. `none` if
  /// there is no problem now.
  UserDefaultsProblem problem = UserDefaultsProblem::none;
  /// The system's error code that goes with the problem; 0 if there is none.
  std::int32_t errorCode = 0;
  /// The number of keys that were written since the problem began and are only in memory.
  std::int64_t unstoredKeys = 0;
  /// The directory of the store. Empty if there is none.
  std::string folder = {};
  /// The new path of a damaged property list that was set aside since the store was opened.
  std::optional<std::string> damagedFile = std::nullopt;
  /// The present problems, and the past problems of damaged or overwritten files since the store was opened. The latest
  /// is last.
  std::vector<UserDefaultsIncident> problems = {};

  friend bool operator==(const UserDefaultsStatus&, const UserDefaultsStatus&) = default;
};

}  // namespace Tessaly::inline v1
