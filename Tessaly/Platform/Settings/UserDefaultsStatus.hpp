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

/// A problem of a settings store. With the problems from `noFolder` to `lockHeld`, values do not reach the disk. A
/// store has two kinds of files: a property list with values, and journals with the changes since that list was
/// written.
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
  /// Another process holds the journal's lock. Usually, the store has waited for this lock for 2 s. The other process
  /// may be suspended.
  lockHeld,
  /// The property list cannot be read at present.
  unreadablePropertyList,
  /// The property list is malformed, or is not a regular file.
  damagedPropertyList,
  /// A journal or a record in it is malformed, or another program has put something else in the place of a journal.
  damagedJournal,
  /// Another program shortened or overwrote the journal while the store was open.
  overwrittenJournal,
};

/// The effect of a problem on the values of a store, the mildest first.
enum class UserDefaultsEffect : std::uint8_t {
  /// No stored value is lost, now or later.
  none,
  /// Values written after the problem began are only in memory. They are lost if the process ends before the problem
  /// ends.
  inMemoryOnly,
  /// At present, the store cannot read the property list, and treats its values as absent.
  notRead,
  /// Stored values may be lost, or replaced by earlier values.
  mayBeLost,
};

/// One problem of a settings store.
struct UserDefaultsIncident {
  UserDefaultsProblem problem = UserDefaultsProblem::none;
  /// The path of the file or directory; for a file that was set aside, the new path. Empty if there is no path.
  std::string file = {};
  /// The time at which the store first detected an ongoing problem, or last detected a past problem.
  Date time = Date::distantPast();
  UserDefaultsEffect effect = UserDefaultsEffect::none;
  /// Whether the problem still exists. Past problems are listed only for damaged and overwritten files.
  bool isOngoing = true;
  /// Whether the problem ends without help as soon as its cause ends. A full disk is an example of such a cause, and so
  /// is a lock that another process holds.
  bool healsByItself = true;
  /// The system's error code (an `errno` value); 0 if the problem has no error code.
  std::int32_t errorCode = 0;

  /// A sentence for people: the problem and its consequence. The file and the system's reason follow in parentheses if
  /// they are known.
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  [[nodiscard]] TESSALY_EXPORT bool operator==(const UserDefaultsIncident& other) const;
};

/// The state of a settings store.
///
///     if (store->status().problem == UserDefaultsProblem::diskFull) showBanner("Settings cannot be saved.");
struct UserDefaultsStatus {
  /// The most important present problem. A problem that prevents writes precedes a problem that prevents reads. `none`
  /// if there is no problem now.
  UserDefaultsProblem problem = UserDefaultsProblem::none;
  /// The system's error code (an `errno` value) that goes with the problem; 0 if the problem has no error code.
  std::int32_t errorCode = 0;
  /// The number of keys whose latest values are only in memory.
  std::int64_t unstoredKeys = 0;
  /// The directory of the store. Empty if there is none.
  std::string folder = {};
  /// The new path of a damaged property list that was set aside since the store was opened.
  std::optional<std::string> damagedFile = std::nullopt;
  /// The present problems, and the past problems of damaged or overwritten files since the store was opened; at most
  /// 100. They are in the order of their first detection.
  std::vector<UserDefaultsIncident> problems = {};

  [[nodiscard]] TESSALY_EXPORT bool operator==(const UserDefaultsStatus& other) const;
};

}  // namespace Tessaly::inline v1
