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
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/NSRange.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class ForwardEdit;
}

/// A text whose parts have attributes: values by name, such as a font, a colour or a link.
///
/// Positions count UTF-16 units. A range outside the text throws `std::out_of_range`. The standard library has no
/// counterpart.
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

  /// The whole text gets the same attributes. Ill-formed UTF-8 becomes U+FFFD.
  explicit NSMutableAttributedString(std::string_view text = {}, Attributes attributes = {});

  /// The text without its attributes. Half a surrogate pair becomes U+FFFD.
  [[nodiscard]] std::string string() const;
  [[nodiscard]] const std::u16string& utf16() const noexcept { return units_; }
  /// The number of UTF-16 units.
  [[nodiscard]] std::int64_t length() const noexcept { return static_cast<std::int64_t>(units_.size()); }

  /// The attributes of the unit at a position. The reference is valid until the text or its attributes change.
  [[nodiscard]] const Attributes& attributes(std::int64_t location) const;
  /// A range around a position. All units of the range have equal attributes. The range is not always the longest such
  /// range: a unit beside it may have equal attributes too.
  [[nodiscard]] NSRange effectiveRange(std::int64_t location) const;

  /// Adds attributes to a range. A new value replaces an existing value of the same name.
  void addAttributes(const Attributes& attributes, NSRange range);

  /// Replaces a range with a new text. The new text gets the attributes of the first replaced unit. For an empty range,
  /// the new text gets the attributes of the unit before the range, or else of the unit after it. If there is no unit,
  /// the new text gets no attributes.
  void replaceCharacters(NSRange range, std::u16string_view text);

 private:
  friend detail::ForwardEdit;
  using SharedAttributes = std::shared_ptr<const Attributes>;
  struct Run {
    std::int64_t length;
    SharedAttributes attributes;
  };

  void checkRange(NSRange range) const { checkRange(range, length()); }
  static void checkRange(NSRange range, std::int64_t length);
  static SharedAttributes joined(Attributes attributes, const Attributes& added);
  /// The index of the run that contains the UTF-16 code unit at `location`, and the location at which this run begins.
  [[nodiscard]] std::pair<std::size_t, std::int64_t> runAt(std::int64_t location) const;
  /// Ensures that a run begins at a location, and returns the index of the run. At the end of the text, returns the
  /// number of runs.
  std::size_t splitAt(std::int64_t location);
  void joinEqualRuns();

  std::u16string units_;
  std::vector<Run> runs_;
};

}  // namespace Tessaly::inline v1
