// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/NSMutableAttributedString.hpp"
#include "Tessaly/Core/Text/NSRange.hpp"

namespace Tessaly::inline v1::detail {

/// An edit that changes a text from its beginning to its end, in O(n). The same calls on the text itself have the same
/// result. But each of those calls moves all code units and attribute runs after its range.
///
/// The constructor moves the contents out of the text. The destructor moves the changed contents back into it. Until
/// then the caller must not use the text. The text must outlive the edit.
///
/// Ranges refer to the text with all changes made so far. A range outside this text throws `std::out_of_range`.
///
/// Thread contract: thread-compatible.
class TESSALY_EXPORT ForwardEdit {
 public:
  using Attributes = NSMutableAttributedString::Attributes;

  explicit ForwardEdit(NSMutableAttributedString& string);
  ForwardEdit(const ForwardEdit&) = delete;
  ForwardEdit& operator=(const ForwardEdit&) = delete;
  ~ForwardEdit();

  /// Replaces a range with a text that must not be longer than the range. The range must begin at or after the end of
  /// all earlier changes.
  void replaceCharacters(NSRange range, std::u16string_view text);
  /// Adds attributes to a range. The range must begin where the previously replaced range begins. The range must end at
  /// or before the beginning of the next range to be replaced.
  void addAttributes(const Attributes& attributes, NSRange range);

  /// The number of code units and attribute runs that were moved.
  [[nodiscard]] std::uint64_t steps() const noexcept { return steps_; }

 private:
  using Run = NSMutableAttributedString::Run;
  using SharedAttributes = NSMutableAttributedString::SharedAttributes;

  [[nodiscard]] std::int64_t doneLength() const noexcept { return static_cast<std::int64_t>(units_.size()); }
  void checkRange(NSRange range) const;
  void copyUpTo(std::int64_t location);
  void skip(std::int64_t length);
  Run takeRun(std::int64_t maximumLength);
  void appendRun(std::int64_t length, SharedAttributes attributes);
  void makeRoomForRuns(std::size_t count);
  [[nodiscard]] std::vector<Run> doneRunsFrom(std::int64_t location);
  void removeDoneRunsFrom(std::int64_t location) noexcept;

  NSMutableAttributedString& string_;
  /// The finished text: the changed text up to the end of the last change.
  std::u16string units_;
  std::vector<Run> runs_;
  /// The original text. Its units from `rest_` on are not in the finished text yet.
  std::u16string original_;
  std::vector<Run> originalRuns_;
  std::size_t rest_ = 0;
  std::size_t restRun_ = 0;
  std::uint64_t steps_ = 0;
};

}  // namespace Tessaly::inline v1::detail
