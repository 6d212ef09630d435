// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "Tessaly/Adapters/Gtk/detail/EditableText.hpp"
#include "Tessaly/Adapters/Gtk/detail/TextPositions.hpp"

namespace Tessaly::inline v1::detail {

/// The composition of an input method in a field. A composition over a selection erases the selection at once, but the
/// change is judged when the composed text is committed. Until then, this class keeps the text before the composition.
class Composition {
 public:
  explicit Composition(EditableText& text) : text_(text) {}

  /// Whether the field shows a text that is still composed.
  [[nodiscard]] bool isComposing() const noexcept { return isComposing_; }
  /// Notes whether the field shows a text that is still composed. Returns whether that is new.
  [[nodiscard]] bool note(bool isComposing) { return std::exchange(isComposing_, isComposing) != isComposing; }

  /// The text and the selection before the composition erased the selection. Absent if the composition erased no
  /// selection, or if the change was judged.
  [[nodiscard]] const std::optional<SelectedText>& origin() const noexcept { return origin_; }
  /// Returns and forgets the origin.
  std::optional<SelectedText> takeOrigin() { return std::exchange(origin_, std::nullopt); }

  /// Erases the selection of `origin`, the present text, without the suffix after `last`. The suffix is inserted again
  /// instead of spared, because that leaves the cursor before the suffix. Returns whether this object and the field
  /// still exist.
  [[nodiscard]] bool eraseSelection(SelectedText origin, int last) {
    const TextRange range = origin.selection.range();
    const std::string suffix = partOf(origin.text, std::clamp(last, range.start, range.end), range.end);
    origin_ = std::move(origin);
    int position = range.start;
    return text_.erase(range) && (suffix.empty() || text_.insert(suffix, &position));
  }
  /// Restores the text of the origin, and forgets the origin. Returns whether this object and the field still exist.
  [[nodiscard]] bool restore() {
    const std::optional<SelectedText> origin = takeOrigin();
    return !origin || text_.set(origin->text);
  }

 private:
  EditableText& text_;
  std::optional<SelectedText> origin_;
  bool isComposing_ = false;
};

}  // namespace Tessaly::inline v1::detail
