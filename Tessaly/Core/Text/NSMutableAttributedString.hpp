// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <any>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/NSRange.hpp"

namespace Tessaly::inline v1 {

/// A text of which each part has attributes: values by name, such as a font, a colour or a link.
///
/// Places are counted in UTF-16 units. A range that is not within the text throws `std::out_of_range`. The standard
/// library has nothing like it.
///
/// Thread contract: thread-compatible.
///
///     NSMutableAttributedString text("Hello, world");
///     text.addAttributes({{"weight", 700}}, {.location = 7, .length = 5});
///     const int weight = std::any_cast<int>(text.attributes(8).at("weight"));
class TESSALY_EXPORT NSMutableAttributedString {
 public:
  using Key = std::string;
  using Attributes = std::map<Key, std::any>;

  /// The whole text has the same attributes. Ill-formed UTF-8 becomes U+FFFD.
  explicit NSMutableAttributedString(std::string_view text = {}, Attributes attributes = {});

  /// The text without its attributes. Half a surrogate pair is U+FFFD.
  [[nodiscard]] std::string string() const;
  [[nodiscard]] const std::u16string& utf16() const noexcept { return units_; }
  /// In UTF-16 units.
  [[nodiscard]] std::int64_t length() const noexcept { return static_cast<std::int64_t>(units_.size()); }

  /// The attributes of the unit at a place. Valid until the text changes.
  [[nodiscard]] const Attributes& attributes(std::int64_t location) const;
  /// The longest known part around a place that has all its attributes in common.
  [[nodiscard]] NSRange effectiveRange(std::int64_t location) const;

  /// Adds attributes to those that the range has; of one name the new one stays.
  void addAttributes(const Attributes& attributes, NSRange range);

  /// Puts a text in place of a range. It takes the attributes of the first unit that it replaces; if the range is
  /// empty, those before it, or else behind it.
  void replaceCharacters(NSRange range, std::u16string_view text);

 private:
  using SharedAttributes = std::shared_ptr<const Attributes>;
  struct Run {
    std::int64_t length;
    SharedAttributes attributes;
  };

  void checkRange(NSRange range) const;
  /// The run of a unit, and where it begins.
  [[nodiscard]] std::pair<std::size_t, std::int64_t> runAt(std::int64_t location) const;
  /// Sees to it that a run begins at a place, or the text ends there, and gives its number.
  std::size_t splitAt(std::int64_t location);
  void joinEqualRuns();

  std::u16string units_;
  std::vector<Run> runs_;
};

}  // namespace Tessaly::inline v1
