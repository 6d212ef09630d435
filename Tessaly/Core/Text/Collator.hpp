// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class CollationRules;
}

/// The alphabetical order of a language, as in its dictionaries (UTS #10, with the rules of CLDR).
///
/// The nearest standard facility is `std::collate`. It knows only the locales that were generated on the machine, and
/// it sorts "file 10" before "file 2". To sort a long list, make the sort key of each text once and compare the keys.
///
/// Making a collator takes up to a millisecond. Copies share the rules.
///
/// Thread contract: thread-compatible. Threads may share a collator that no thread changes.
///
///     std::vector<std::string> names{"file 10", "Éclair", "file 2", "zebra"};
///     std::ranges::sort(names, Collator(Locale("fr")));  // Éclair, file 2, file 10, zebra
class Collator {
 public:
  /// The differences that count. A stronger difference anywhere in the texts decides before a weaker one.
  enum class Strength : std::uint8_t {
    primary,    ///< Letters: "a" and "b" differ, "a" and "á" are equivalent.
    secondary,  ///< Also marks: "a" and "á" differ, "a" and "A" are equivalent.
    tertiary,   ///< Also case and width.
  };
  struct Options {
    Strength strength = Strength::tertiary;
    /// Whether a row of digits counts as a number, so that "file 2" comes before "file 10".
    bool numeric = true;
  };

  /// The order of a locale. An unknown locale has the order of ICU's root locale. A locale whose identifier ends with
  /// "POSIX" has this order, too: for example `Locale::current()` in an environment that names no locale. Throws
  /// `std::runtime_error` if ICU has no data.
  TESSALY_EXPORT explicit Collator(const Locale& locale = Locale::current());
  TESSALY_EXPORT Collator(const Locale& locale, Options options);

  /// Compares two texts. Ill-formed UTF-8 counts as U+FFFD. Throws `std::length_error` for a text of 2 GiB or more.
  [[nodiscard]] TESSALY_EXPORT std::weak_ordering compare(std::string_view left, std::string_view right) const;

  /// Whether the first text comes before the second. So a collator can be given to a sort or to a `std::map`.
  [[nodiscard]] bool operator()(std::string_view left, std::string_view right) const {
    return compare(left, right) < 0;
  }

  /// The sort key of a text, as bytes. Comparing two keys as `std::string` gives the same order as `compare` for the
  /// two texts. Keys of collators with different locales or options, or of different versions of ICU, are not
  /// comparable, so do not store them.
  /// Ill-formed UTF-8 counts as U+FFFD. Throws `std::length_error` for a text of more than 1 GiB, and for a text whose
  /// key exceeds 2 GiB.
  [[nodiscard]] TESSALY_EXPORT std::string sortKey(std::string_view text) const;

 private:
  std::shared_ptr<const detail::CollationRules> rules_;
};

}  // namespace Tessaly::inline v1
