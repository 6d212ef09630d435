// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Adapters/Gtk/detail/Composition.hpp"
#include "Tessaly/Adapters/Gtk/detail/EditableText.hpp"
#include "Tessaly/Adapters/Gtk/detail/FieldConnections.hpp"
#include "Tessaly/Adapters/Gtk/detail/FieldHistory.hpp"
#include "Tessaly/Adapters/Gtk/detail/HistoryKeys.hpp"
#include "Tessaly/Adapters/Gtk/detail/LaterCall.hpp"
#include "Tessaly/Adapters/Gtk/detail/LostSelection.hpp"
#include "Tessaly/Adapters/Gtk/detail/TextPositions.hpp"
#include "Tessaly/Adapters/detail/FormattedField.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"

namespace Tessaly::inline v1::detail {

/// The changes of a field's text, from the user or the program. `FieldEditing` judges each change. Then this class
/// performs the change, replaces the whole text, or keeps the text. It also keeps the history of the changes.
///
/// A deletion waits, because the insertion that replaces the deleted text may follow. If no insertion follows, the
/// deletion is judged in the next turn of the main loop, or earlier at a call of `settle`.
///
/// An input method in another process may commit its text only after the focus has left the field. The committed text
/// then takes the place that it would have taken before. The owner must end editing again. An insertion at the cursor
/// counts as such a commit, until the focus returns or something else changes the text.
///
/// A handler of the host may destroy this object and the field. `restart`, `settle`, `complete` and `replace` return
/// whether both still exist.
class JudgedChanges {
 public:
  /// Connects the signals and the keys of the field. After the focus has left the field during a composition,
  /// `committed` is called in the turn of the main loop in which the composition has ended, and in the turn of a later
  /// commit.
  JudgedChanges(EditableText& text, FormattedField& formatted, std::function<void()> committed)
      : text_(text), formatted_(formatted), committed_(std::move(committed)) {
    connections_.connect<&JudgedChanges::inserting>("insert-text");
    connections_.connect<&JudgedChanges::deleting>("delete-text");
    // No insertion follows the deletion that a key or the cut command makes.
    for (const char* signal : {"backspace", "delete-from-cursor", "cut-clipboard"}) {
      connections_.connectAfter<&JudgedChanges::settle>(signal);
    }
  }

  /// Sets a text that is not judged. Forgets the history and all unfinished changes.
  [[nodiscard]] bool restart(const std::string& text) {
    held_.reset();
    lost_.forget();
    composition_.takeOrigin();
    stay();
    history_.clear();
    return text_.set(text);
  }

  /// Judges the pending deletion, and a composition that has ended without a result.
  [[nodiscard]] bool settle() {
    const std::optional<TextRange> deletion = std::exchange(held_, std::nullopt);
    if (!text_.isThere() || !settleComposition()) return false;
    if (!deletion) return text_.isThere();
    const TextParts parts = partsAround(text_.get(), *deletion);
    const Answer answer = answerTo(parts);
    if (answer.kind == Answer::Kind::accepted) {
      remember();
      return text_.erase(*deletion);
    }
    if (answer.kind == Answer::Kind::replaced && !replace(withCursor(answer.text, answer.cursor), *deletion)) {
      return false;
    }
    return tellRefusal(answer, parts) && text_.isThere();
  }
  /// Prepares for the end of editing: calls `settle`, and ends the run of typed characters. Also returns false if an
  /// input method still composes.
  [[nodiscard]] bool complete() {
    if (isComposing() || !settle()) return false;
    history_.endRun();
    return true;
  }

  /// Replaces the whole text as a change that can be undone. If the user tried to delete a range, `deletion` must be
  /// that range. This function then erases the range first, so that no selection remains.
  [[nodiscard]] bool replace(const SelectedText& replacement, const TextRange& deletion = {}) {
    if (replacement.text != text_.get()) {
      remember();
      if (!text_.erase(deletion) || !text_.set(replacement.text)) return false;
    }
    // An equal selection is not set again, because that would end the composition of a letter.
    return text_.selection() == replacement.selection || text_.select(replacement.selection);
  }

  /// Undoes the last step of the history. Returns false if this is not possible.
  bool undo() { return go(&FieldHistory::undo); }
  /// Repeats the last undone step of the history. Returns false if this is not possible.
  bool redo() { return go(&FieldHistory::redo); }

  [[nodiscard]] bool isComposing() const noexcept { return composition_.isComposing(); }
  /// Notes that the focus has left the field. Returns whether a composition was left, so that editing must end later.
  /// Some input methods end the composition before they notice the loss of the focus, and commit after it.
  [[nodiscard]] bool leaveComposition() {
    if (!isComposing() && !hasComposed_) return false;
    if (!left_) left_ = composition_.origin().value_or(text_.present());
    isLeft_ = true;
    isEndDue_ = true;
    return true;
  }
  /// Notes that the composition, if the focus has left one, can no longer be committed.
  void stay() noexcept {
    forgetLeft();
    isEndDue_ = false;
  }
  /// Notes whether an input method shows a text that is still composed. Returns whether a composition has ended now.
  [[nodiscard]] bool compose(bool isComposing) {
    if (!composition_.note(isComposing)) return false;
    if (isComposing) {
      static_cast<void>(composeOver());
      return false;
    }
    hasComposed_ = true;
    settling_.request();  // The composed text may still be inserted before that.
    return true;
  }

 private:
  using Answer = FieldEditing::Answer;

  void inserting(const char* text, int length, int* position) {
    insert(length < 0 ? std::string_view(text) : std::string_view(text, static_cast<std::size_t>(length)), position);
  }

  void insert(std::string_view inserted, int* position) {
    if (text_.isChanging()) return;
    // The field inserts a committed text at the cursor.
    if (isLeft_ && *position == text_.selection().cursor) return commitLate(inserted, position);
    forgetLeft();
    const std::optional<TextSelection> lost = lost_.take();
    if (lost && !held_) held_ = lost->range();
    const std::optional<SelectedText>& origin = composition_.origin();
    const TextParts parts = held_ || !origin ? partsAround(text_.get(), held_.value_or(TextRange{*position, *position}))
                                             : partsAround(origin->text, origin->selection.range());
    const Answer answer = answerTo(parts, inserted);
    if (answer.kind == Answer::Kind::accepted) return take(inserted, position);
    stop("insert-text");
    held_.reset();
    if (answer.kind == Answer::Kind::replaced) {
      const SelectedText replacement = withCursor(answer.text, answer.cursor);
      *position = replacement.selection.cursor;
      if (!replace(replacement)) return;
    } else {
      const TextSelection selection = lost.value_or(origin ? origin->selection : text_.selection());
      if (!composition_.restore()) return;
      // The caller of the insertion sets the cursor afterwards, which clears the selection.
      *position = selection.cursor;
      lost_.keep(selection);
      settling_.request();
    }
    static_cast<void>(tellRefusal(answer, parts, inserted));
  }

  /// Inserts a text that the input method commits after the focus has left.
  void commitLate(std::string_view inserted, int* position) {
    const SelectedText left = std::exchange(left_, std::nullopt).value_or(text_.present());
    const TextParts parts = partsAround(left.text, left.selection.range());
    const Answer answer = answerTo(parts, inserted);
    stop("insert-text");
    const std::string before = parts.before + std::string(inserted);
    SelectedText shown = withCursor(before + parts.behind, before.size());
    if (answer.kind == Answer::Kind::replaced) shown = withCursor(answer.text, answer.cursor);
    if (answer.kind == Answer::Kind::refused) shown = left;
    *position = shown.selection.cursor;
    held_.reset();
    isEndDue_ = true;
    settling_.request();
    if (!replace(shown)) return;
    lost_.keep(shown.selection);  // The caller of the insertion sets the cursor afterwards.
    static_cast<void>(tellRefusal(answer, parts, inserted));
  }
  void forgetLeft() noexcept {
    left_.reset();
    isLeft_ = false;
  }

  /// Performs a pending deletion and inserts the text there. Without a pending deletion, leaves the insertion to the
  /// field.
  void take(std::string_view inserted, int* position) {
    const std::optional<TextRange> deletion = std::exchange(held_, std::nullopt);
    const int start = deletion ? deletion->start : *position;
    if (deletion || composition_.origin() || !history_.continuesRun(start, inserted)) remember();
    history_.insert(start, inserted);
    if (!deletion) return;
    stop("insert-text");
    *position = start;
    static_cast<void>(text_.erase(*deletion) && text_.insert(inserted, position));
  }

  void deleting(int start, int end) {
    if (text_.isChanging() || !settle()) return;
    if (composition_.origin()) remember();  // A change during the composition is judged alone.
    // The field deletes its selection before it inserts a committed text. Only a program names no end.
    if (end < 0 || TextRange{start, end} != text_.selection().range()) stay();
    if (end < 0) end = text_.length();
    if (start >= end) return;
    stop("delete-text");
    const std::optional<TextSelection> lost = lost_.take();
    held_ = lost ? lost->range() : TextRange{start, end};
    settling_.request();
  }

  /// Erases the selection that a beginning composition replaces. The deletion is judged with the insertion that ends
  /// the composition.
  [[nodiscard]] bool composeOver() {
    SelectedText present = text_.present();
    if (held_ != present.selection.range()) return true;
    held_.reset();
    const int last = charactersIn(present.text, formatted_.editing().lastPosition(present.text));
    return composition_.eraseSelection(std::move(present), last);
  }

  /// Judges the deletion of the selection that a composition without a result has replaced.
  [[nodiscard]] bool settleComposition() {
    if (!composition_.origin() || isComposing()) return true;
    const SelectedText origin = *composition_.origin();
    const TextParts parts = partsAround(origin.text, origin.selection.range());
    const Answer answer = answerTo(parts);
    const SelectedText replacement = withCursor(answer.text, answer.cursor);
    if (answer.kind == Answer::Kind::refused) {
      const int cursor = origin.selection.cursor;
      if (!composition_.restore() || !text_.select({cursor, cursor})) return false;
      lost_.keep(origin.selection);
      lost_.restoreSoon();
    } else if (answer.kind == Answer::Kind::replaced && replacement.text != text_.get()) {
      if (!replace(replacement)) return false;
    } else {
      remember();
    }
    return tellRefusal(answer, parts);
  }

  /// The answer to a change that replaces the middle part by a text.
  [[nodiscard]] Answer answerTo(const TextParts& parts, std::string_view inserted = {}) const {
    if (g_utf8_validate_len(inserted.data(), inserted.size(), nullptr)) {
      return formatted_.editing().change({parts.before, parts.within, inserted, parts.behind});
    }
    Answer answer;
    answer.kind = Answer::Kind::refused;
    answer.isRefusal = true;
    return answer;
  }
  /// Tells the host about the refused text, if the answer is a refusal.
  [[nodiscard]] bool tellRefusal(const Answer& answer, const TextParts& parts, std::string_view inserted = {}) const {
    if (!answer.isRefusal) return true;
    return formatted_.tellRefusal(validText(parts.before + std::string(inserted) + parts.behind), answer.reason);
  }

  /// Begins a step of the history, before a change.
  void remember() {
    lost_.forget();
    history_.begin(composition_.takeOrigin().value_or(text_.present()));
  }
  bool go(std::optional<SelectedText> (FieldHistory::*way)(SelectedText present)) {
    if (!settle() || !gtk_editable_get_editable(text_.editable())) return false;
    if (composition_.origin()) remember();
    const std::optional<SelectedText> state = (history_.*way)(text_.present());
    if (!state) return false;
    forgetLeft();
    static_cast<void>(text_.set(state->text) && text_.select(state->selection));
    return true;
  }

  void turn() {
    hasComposed_ = false;
    if (!settle()) return;
    lost_.restoreSoon();
    if (isComposing() || !std::exchange(isEndDue_, false)) return;
    const std::function<void()> committed = committed_;  // The call may destroy this object.
    committed();
  }

  void stop(const char* signal) { g_signal_stop_emission_by_name(text_.editable(), signal); }

  EditableText& text_;
  FormattedField& formatted_;
  const std::function<void()> committed_;
  HistoryKeys<JudgedChanges> keys_{text_, *this};
  FieldHistory history_;
  LostSelection lost_{text_};
  Composition composition_{text_};
  /// Whether the focus has left a composition, which may still be committed.
  bool isLeft_ = false;
  /// The text and the selection before that composition. Absent after the first commit: a further one is inserted at
  /// the cursor.
  std::optional<SelectedText> left_;
  /// Whether a composition has ended since the last turn of the main loop.
  bool hasComposed_ = false;
  /// Whether editing must end because the focus has left a composition.
  bool isEndDue_ = false;
  /// The deletion that waits.
  std::optional<TextRange> held_;
  LaterCall<JudgedChanges> settling_{*this, &JudgedChanges::turn, G_PRIORITY_HIGH};
  FieldConnections<JudgedChanges> connections_{text_, *this};
};

}  // namespace Tessaly::inline v1::detail
