// SPDX-License-Identifier: MIT
#pragma once

#include <glib.h>

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/Gtk/detail/TextPositions.hpp"

namespace Tessaly::inline v1::detail {

/// The steps of editing in a field, for undo and redo. A run of typed characters is one step. White space begins a new
/// step.
class FieldHistory {
 public:
  void clear() {
    done_.clear();
    undone_.clear();
    endRun();
  }
  void endRun() { run_ = -1; }
  /// Begins a step, and records the state before the step. Discards the steps that `redo` could repeat.
  void begin(SelectedText present) {
    undone_.clear();
    if (done_.size() == mostStates) done_.erase(done_.begin());
    done_.push_back(std::move(present));
    endRun();
  }
  /// Whether an insertion at a position joins the undo step of the characters that were typed directly before that
  /// position.
  [[nodiscard]] bool continuesRun(int position, std::string_view inserted) const {
    return run_ == position && isLetter(inserted) && !g_unichar_isspace(g_utf8_get_char(inserted.data()));
  }
  /// Notes an insertion for the next call of `continuesRun`. If `inserted` is one character, the run goes on after that
  /// character; otherwise the run ends.
  void insert(int position, std::string_view inserted) { run_ = isLetter(inserted) ? position + 1 : -1; }

  /// Takes back the last step: returns the state before that step, and keeps `present` for `redo`. The result is absent
  /// if no step can be undone.
  std::optional<SelectedText> undo(SelectedText present) { return go(done_, undone_, std::move(present)); }
  /// Repeats the last undone step: returns the state after that step, and keeps `present` for `undo`. The result is
  /// absent if no step can be redone.
  std::optional<SelectedText> redo(SelectedText present) { return go(undone_, done_, std::move(present)); }

 private:
  static constexpr std::size_t mostStates = 200;

  static bool isLetter(std::string_view text) {
    return g_utf8_strlen(text.data(), static_cast<gssize>(text.size())) == 1;
  }

  std::optional<SelectedText> go(std::vector<SelectedText>& from, std::vector<SelectedText>& to, SelectedText present) {
    if (from.empty()) return std::nullopt;
    SelectedText state = std::move(from.back());
    from.pop_back();
    to.push_back(std::move(present));
    endRun();
    return state;
  }

  std::vector<SelectedText> done_;
  std::vector<SelectedText> undone_;
  /// The position where the next typed character continues the run. Negative if there is no run.
  int run_ = -1;
};

}  // namespace Tessaly::inline v1::detail
