// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEMagic.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1::detail {

/// The types of files that the system knows: what `update-mime-database` made out of its packages, as the Shared
/// MIME-info Database specification 0.21 has it (https://specifications.freedesktop.org/shared-mime-info-spec/).
///
/// Thread contract: thread-compatible. One that nobody adds to is thread-safe.
class TESSALY_EXPORT MIMEDatabase {
 public:
  using Types = std::vector<std::string>;

  /// Reads folders, of which an earlier one counts for more. What is missing or cannot be read says nothing.
  explicit MIMEDatabase(std::vector<std::string> folders);
  /// That of the folders of this process, read at the first call.
  [[nodiscard]] static const MIMEDatabase& shared();
  /// The folders of the XDG Base Directory specification, most important first.
  [[nodiscard]] static std::vector<std::string> folders(const ProcessInfo& process);

  // Each adds the contents of a file, which count for more than what is there.
  void addGlobs(std::string_view globs2);
  void addMagic(std::string_view magic) { magic_.add(magic); }
  void addAliases(std::string_view aliases);
  void addSubclasses(std::string_view subclasses);
  void addTypes(std::string_view types);

  /// Whether a text could be the name of a type: two names of RFC 6838 with a slash between them.
  [[nodiscard]] static bool isType(std::string_view text) noexcept;
  [[nodiscard]] bool knows(std::string_view type) const noexcept { return types_.contains(type); }
  /// The type that an alias means; else the type itself.
  [[nodiscard]] std::string canonical(std::string_view type) const;
  /// The types that a type is a special case of, without those further up.
  [[nodiscard]] Types parents(std::string_view type) const;
  /// Whether a type is the other, or a special case of it, however far down.
  [[nodiscard]] bool isKindOf(std::string_view type, std::string_view other) const;

  /// The types whose files' names may end in a dot and the extension, the likeliest first.
  [[nodiscard]] Types typesOfExtension(std::string_view extension) const;
  /// The types that a name speaks for most. Several when it does not decide.
  [[nodiscard]] Types typesOfName(std::string_view name) const;
  /// The extensions of a type, the preferred one first.
  [[nodiscard]] Types extensions(std::string_view type) const;
  /// The type of a file, by its name and, where that does not decide, by its contents from the beginning on, which are
  /// asked for with the number of bytes that are of interest; nothing stands for contents that cannot be had.
  [[nodiscard]] std::string typeOf(std::string_view name,
                                   const std::function<std::optional<std::string>(std::size_t)>& contents) const;

  /// The patterns in a type's description, in their order.
  [[nodiscard]] static std::vector<std::string> patterns(std::string_view description);

 private:
  enum class Case : std::uint8_t { ignored, told };
  struct Glob {
    std::string type;
    std::string pattern;
    std::uint32_t weight;
    Case caseOfLetters;

    /// Whether it may be compared with a name in that way.
    [[nodiscard]] bool counts(Case caseOfName) const noexcept {
      return caseOfName == Case::told || caseOfLetters == Case::ignored;
    }
  };
  using Matches = std::vector<const Glob*>;

  void removeGlobs(std::string_view type);
  /// Of a name as it stands, or of one in small letters.
  [[nodiscard]] Matches literalMatches(std::string_view name, Case caseOfLetters) const;
  [[nodiscard]] Matches suffixMatches(std::string_view name, Case caseOfLetters) const;
  [[nodiscard]] Matches otherMatches(std::string_view name, Case caseOfLetters) const;
  [[nodiscard]] Matches matches(std::string_view name) const;
  static void addCounting(const std::vector<Glob>& globs, Case caseOfLetters, Matches& matches);
  [[nodiscard]] std::string typeOfContents(std::string_view contents) const;
  [[nodiscard]] Types extensionsByDescription(const std::string& type) const;

  std::vector<std::string> folders_;
  /// Of whole names.
  std::map<std::string, std::vector<Glob>, std::less<>> literals_;
  /// "*.suffix", by the suffix with its dot.
  std::map<std::string, std::vector<Glob>, std::less<>> suffixes_;
  std::vector<Glob> others_;
  std::map<std::string, std::string, std::less<>> aliases_;
  std::map<std::string, Types, std::less<>> parents_;
  std::set<std::string, std::less<>> types_;
  MIMEMagic magic_;

  mutable UnfairLock lock_;
  /// What descriptions said so far.
  mutable std::map<std::string, Types, std::less<>> extensions_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
