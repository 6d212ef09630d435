// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// The patterns that derive types from the names of files: the "globs2" files of the Shared MIME-info Database
/// specification 0.21.
///
/// Thread contract: thread-compatible.
class TESSALY_EXPORT MIMEGlobs {
 public:
  using Types = std::vector<std::string>;

  /// Adds the patterns of a file. The new patterns take precedence over earlier patterns of the same weight. Malformed
  /// lines are skipped.
  void add(std::string_view globs2);

  /// The most likely types for a name. Several types if the name does not decide, and none if no pattern matches.
  [[nodiscard]] Types typesOfName(std::string_view name) const;
  /// The types with a pattern "*.extension", in descending order of weight.
  [[nodiscard]] Types typesOfExtension(std::string_view extension) const;
  /// The extensions in the patterns "*.extension" of a type, in descending order of weight.
  [[nodiscard]] std::vector<std::string> extensionsOf(std::string_view type) const;

 private:
  /// Whether the comparison of a pattern and a name is case-sensitive (`told`) or not (`ignored`).
  enum class Case : std::uint8_t { ignored, told };
  /// A pattern of names for one type. Whole names precede suffixes, and suffixes precede other patterns. Among several
  /// matches of the same kind, the maximum weight decides, and then the maximum length of the pattern.
  struct Glob {
    std::string type;
    std::string pattern;
    std::uint32_t weight;
    Case caseOfLetters;

    /// Whether the pattern may be compared with a name. `caseOfName` says whether the name is in its original case
    /// (`told`) or in lower case (`ignored`).
    [[nodiscard]] bool counts(Case caseOfName) const noexcept {
      return caseOfName == Case::told || caseOfLetters == Case::ignored;
    }
  };
  using Matches = std::vector<const Glob*>;

  void remove(std::string_view type);
  /// The patterns without wildcards that match a name. `caseOfLetters` says whether the name is in its original case
  /// (`told`) or in lower case (`ignored`).
  [[nodiscard]] Matches literalMatches(std::string_view name, Case caseOfLetters) const;
  [[nodiscard]] Matches suffixMatches(std::string_view name, Case caseOfLetters) const;
  [[nodiscard]] Matches otherMatches(std::string_view name, Case caseOfLetters) const;
  [[nodiscard]] Matches matches(std::string_view name) const;
  static void addCounting(const std::vector<Glob>& globs, Case caseOfLetters, Matches& matches);

  /// The patterns that are whole names.
  std::map<std::string, std::vector<Glob>, std::less<>> literals_;
  /// The patterns "*.suffix", by the suffix with its dot.
  std::map<std::string, std::vector<Glob>, std::less<>> suffixes_;
  std::vector<Glob> others_;
};

}  // namespace Tessaly::inline v1::detail
