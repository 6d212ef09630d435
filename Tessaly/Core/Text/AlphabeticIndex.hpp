// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class IndexBuckets;
}

/// The sections of an alphabetical list and their labels, as in an address book. An English index has the labels "A" to
/// "Z". One section before "A" and one section after "Z" have an ellipsis, "…", as their label. A Swedish index has
/// "Å", "Ä" and "Ö" after "Z"; a Japanese index has "あ", "か", "さ". The labels are those of CLDR.
///
/// The sections stand in the order of `Collator`, so each section is one run of a list that is sorted with the same
/// locale. Texts before the first letter, such as numbers, belong to the first section, "…". Texts of other scripts
/// belong to sections named "…" too.
///
/// Making an index takes milliseconds. Copies share the contents.
///
/// Thread contract: thread-compatible. Threads may share an index that no thread changes.
///
///     const AlphabeticIndex index(Locale("sv"));
///     const std::string& label = index.labels()[index.section("Örebro")];  // Ö
class AlphabeticIndex {
 public:
  /// The index of a locale. An unknown locale has the labels of ICU's default locale or of the root. Throws
  /// `std::runtime_error` if ICU has no data.
  TESSALY_EXPORT explicit AlphabeticIndex(const Locale& locale = Locale::current());

  /// The labels of all sections in their order.
  [[nodiscard]] TESSALY_EXPORT const std::vector<std::string>& labels() const noexcept TESSALY_LIFETIMEBOUND;

  /// The section of a text, as a position in `labels()`. Ill-formed UTF-8 counts as U+FFFD. Throws `std::length_error`
  /// for a text of more than 1 GiB.
  [[nodiscard]] TESSALY_EXPORT std::size_t section(std::string_view text) const;

 private:
  std::shared_ptr<const detail::IndexBuckets> buckets_;
};

}  // namespace Tessaly::inline v1
