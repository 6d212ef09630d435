// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEGlobs.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEMagic.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEText.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1::detail {

/// The system's database of file types. `update-mime-database` makes the files of the database according to the Shared
/// MIME-info Database specification 0.21 (https://specifications.freedesktop.org/shared-mime-info-spec/).
///
/// The names of types are compared without regard to case (RFC 2045, section 5.1). The database keeps and returns them
/// in lower case, as the names of the descriptions' files are.
///
/// Thread contract: thread-compatible. A database is thread-safe while no thread adds files to it.
class TESSALY_EXPORT MIMEDatabase {
 public:
  using Types = std::vector<std::string>;

  /// Reads the database's files in the directories. Each directory takes precedence over the directories after it.
  /// Ignores missing and unreadable files, and files of more than 32 MiB.
  explicit MIMEDatabase(std::vector<std::string> folders);
  /// The database of this process's directories, read at the first call.
  [[nodiscard]] static const MIMEDatabase& shared();
  /// The "mime" directories below the data directories of the XDG Base Directory specification. The directory with the
  /// highest precedence comes first.
  [[nodiscard]] static std::vector<std::string> folders(const ProcessInfo& process);

  // Each of the next five functions adds the contents of a file. The parameter holds these contents and has the name of
  // the file. A new alias replaces an earlier alias of the same name. New globs take precedence over earlier globs of
  // the same weight, and new magic rules over earlier rules of the same priority.
  void addGlobs(std::string_view globs2) { globs_.add(globs2); }
  void addMagic(std::string_view magic) { magic_.add(magic); }
  void addAliases(std::string_view aliases);
  void addSubclasses(std::string_view subclasses);
  void addTypes(std::string_view types);

  [[nodiscard]] bool knows(std::string_view type) const { return spellings_.contains(lowercased(type)); }
  /// The type that an alias stands for. If the argument is not an alias, the argument itself in lower case.
  [[nodiscard]] std::string canonical(std::string_view type) const;
  /// The type with the capitals of the "types" files. If those files lack the type, the argument in lower case.
  [[nodiscard]] std::string spelling(std::string_view type) const;
  /// The direct supertypes of a type.
  [[nodiscard]] Types parents(std::string_view name) const;
  /// Whether a type equals the other type, or is a direct or indirect subtype of it.
  [[nodiscard]] bool isKindOf(std::string_view type, std::string_view other) const;

  /// The types of files with the extension, the most likely first.
  [[nodiscard]] Types typesOfExtension(std::string_view extension) const;
  /// The most likely types for a name. Several types if the name does not decide, and none if no pattern matches.
  [[nodiscard]] Types typesOfName(std::string_view name) const { return globs_.typesOfName(name); }
  /// The extensions of a type, the preferred one first.
  [[nodiscard]] Types extensions(std::string_view name) const;
  /// The type of a file, by its name. If the name does not decide, the contents do. The function `contents` receives
  /// the number of bytes to read from the beginning of the file. It must return these bytes, or all bytes of a shorter
  /// file. It must return nothing if the file is unreadable.
  [[nodiscard]] std::string typeOf(std::string_view name,
                                   const std::function<std::optional<std::string>(std::size_t)>& contents) const;

  /// The human-readable names of a type, by the database's language codes, such as "de" and "pt_BR". The code of
  /// English is empty. The map is empty if no directory has a description of the type.
  using Comments = std::map<std::string, std::string, std::less<>>;
  [[nodiscard]] Comments comments(std::string_view name) const;

  /// The patterns of file names in a type's description, in the order of the description. The parameter holds the
  /// contents of the type's XML file.
  [[nodiscard]] static std::vector<std::string> patterns(std::string_view description);
  /// The human-readable names in a type's description. The parameter holds the contents of the type's XML file.
  [[nodiscard]] static Comments commentsIn(std::string_view description);

 private:
  [[nodiscard]] std::string typeOfContents(std::string_view contents) const;
  [[nodiscard]] Types extensionsByDescription(const std::string& type) const;

  std::vector<std::string> folders_;
  MIMEGlobs globs_;
  std::map<std::string, std::string, std::less<>> aliases_;
  std::map<std::string, Types, std::less<>> parents_;
  /// The types of the "types" files: the name in lower case, and as the file spells it.
  std::map<std::string, std::string, std::less<>> spellings_;
  MIMEMagic magic_;

  mutable UnfairLock lock_;
  /// The results of `extensions` so far, by type.
  mutable std::map<std::string, Types, std::less<>> extensions_ TESSALY_GUARDED_BY(lock_);
  /// The results of `comments` so far, by type.
  mutable std::map<std::string, Comments, std::less<>> comments_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
