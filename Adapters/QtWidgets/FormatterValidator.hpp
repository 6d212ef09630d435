// SPDX-License-Identifier: MIT
// Component: Tessaly::QtWidgetsAdapter
#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QFocusEvent>
#include <QGuiApplication>
#include <QInputMethod>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMetaObject>
#include <QPointer>
#include <QString>
#include <QValidator>
#include <any>
#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Adapters/QtWidgets/detail/FieldMark.hpp"
#include "Tessaly/Adapters/QtWidgets/detail/TypedChange.hpp"
#include "Tessaly/Adapters/detail/FormattedField.hpp"
#include "Tessaly/Adapters/detail/SettingOfField.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"

namespace Tessaly::inline v1::Qt6 {

/// A validator that connects a `QLineEdit` to a `Formatter`. The field shows the text of an object.
///
/// `FieldEditing` makes the decisions, and the comment of that class has the rules. By default the validator changes no
/// typed number before editing ends (Return, or the focus leaves). By default the cursor also stays before the suffix
/// of a number. The dynamic property "fieldState" of the field is "acceptable", "incomplete" or "invalid", for style
/// sheets. An invalid text is red. The tooltip says why a text is not acceptable. At the end of editing, the tooltip
/// appears at once. After a correction, the tooltip has the reason of the correction, until the next change.
///
/// With `FieldChecking::atEveryChange` the formatter judges every change: typing, pasting, dropping, cutting and
/// committing composed input. If the formatter offers a replacement, the replacement takes the place of the whole text
/// in the next turn of the event loop. The field gets no other input before that. Undo then restores the text before
/// the refused change. In this mode the field gets no property, no colour and no tooltip.
///
/// A text that an input method still composes is not judged or marked. If the composition replaces a selection, the
/// change is judged when the text is committed. Editing does not end during a composition. If the focus leaves during a
/// composition, and the input method does not commit before, editing ends in the next turn of the event loop.
///
/// The nearest facilities of Qt are input masks, `QIntValidator` and `QDoubleValidator`. These two classes drop typed
/// characters. If a change is refused without a replacement, `FormatterValidator` leaves the text, the cursor and the
/// selection as they were. But in a field with hidden characters, the cursor then goes to the end. The validator does
/// not refuse texts that the program or an undo sets. But in a field with hidden characters, an undo is a deletion. If
/// `validate` returns `Acceptable`, editing could end without a correction of the value. The text may still be
/// rewritten, for example "007" as "7". A typed or pasted text with a lone surrogate is refused.
///
/// The constructor installs the validator in the field. The field owns the validator. Do not give the validator to
/// another field. The validator needs no moc.
///
/// A handler may destroy the field. A slot of the field's signals may delete the validator. If the text has not changed
/// since the last end of editing, leaving the field does not end editing a second time. So a handler may open a dialog.
///
/// These stop the process: a null formatter or field, and an exception from the formatter, the rule, the explanation or
/// a handler.
///
/// Thread contract: main-isolated.
///
///     auto level = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
///     auto* validator = new Qt6::FormatterValidator(level, field);
///     validator->setObjectValue(50);
///     validator->onEditingEnd([](const std::any& object) { show(std::any_cast<NSNumber>(object)); });
class FormatterValidator : public QValidator {
 public:
  using EndHandler = detail::FormattedField::EndHandler;
  using RefusalHandler = detail::FormattedField::RefusalHandler;

  template <std::derived_from<Formatter> Kind>
  FormatterValidator(std::shared_ptr<Kind> formatter, QLineEdit* field,
                     FieldChecking checking = FieldChecking::atTheEnd)
      : QValidator(checked(field)),
        field_(field),
        mark_(field),
        formatted_(std::move(formatter), checking),
        standing_(field->text()) {
    QObject::connect(field, &QLineEdit::inputRejected, this, [this] { noteRefusal(); });
    QObject::connect(field, &QLineEdit::textChanged, this, [this](const QString& text) {
      if (refusal_ && refusal_->text != text) refusal_.reset();
      if (isComposing()) return;
      forgetComposedOver();
      if (formatted_.isMarked()) markText();
    });
    if (formatted_.isMarked()) {
      QObject::connect(field, &QLineEdit::cursorPositionChanged, this, [this](int, int now) { stayBeforeSuffix(now); });
      QObject::connect(field, &QLineEdit::selectionChanged, this,
                       [this] { stayBeforeSuffix(field_->cursorPosition()); });
    }
    field->installEventFilter(this);
    field->setValidator(this);
  }

  /// The object from the last successful end of editing or from the last successful `setObjectValue`, whichever is
  /// later. Empty if neither has happened yet. With a `NumberFormatter`, the object is always an `NSNumber`.
  [[nodiscard]] const std::any& objectValue() const noexcept TESSALY_LIFETIMEBOUND {
    return formatted_.editing().object();
  }
  /// Shows an object, and clears the undo history. Returns false and does nothing if the formatter does not support the
  /// object, a number is beyond the range, or the rule forbids the object. With a `NumberFormatter`, a number of any
  /// standard type becomes an `NSNumber`.
  bool setObjectValue(std::any object) {
    const std::optional<std::string> text = formatted_.show(std::move(object));
    if (!text) return false;
    refusal_.reset();
    composed_.clear();
    composedOver_.reset();
    if (change([&] { field_->setText(QString::fromStdString(*text)); })) static_cast<void>(showMark({}));
    return true;
  }
  /// The state of the present text.
  [[nodiscard]] FieldState state() const { return formatted_.editing().state(field_->text().toStdString()); }
  /// Whether the present text differs from the text of the object. True if there is no object yet.
  [[nodiscard]] bool isEdited() const { return formatted_.editing().isEdited(field_->text().toStdString()); }
  /// The reason that the tooltip shows: why the text is not acceptable, or why the text was corrected when editing last
  /// ended.
  [[nodiscard]] const FieldNotice& notice() const noexcept TESSALY_LIFETIMEBOUND { return mark_.notice(); }
  /// Sets the rule for the objects of the field, and replaces an earlier rule of the host. The rule must return true
  /// for an allowed object. If the field is bound to a setting, the rule of the setting's key holds too. See
  /// `FieldEditing::setRule`.
  void setRule(std::function<bool(const std::any& object)> rule) { formatted_.setRule(std::move(rule)); }
  /// Sets a function whose result replaces the reason in each notice, for example a translation. An empty result keeps
  /// the reason.
  void explainWith(FieldEditing::Explanation explanation) { formatted_.editing().explainWith(std::move(explanation)); }

  /// Sets the handler that is called after each successful end of editing, when the field already shows the object.
  /// If the field is bound to a setting, the setting already has the object.
  void onEditingEnd(EndHandler handler) { formatted_.onEnd(std::move(handler)); }
  /// Sets the handler that is called with each text that the formatter or the rule refuses, and with the reason if
  /// there is one. The refused texts include texts that the end of editing corrects. They do not include texts that the
  /// end of editing only rewrites, for example "007" as "7". If the text was replaced, the field already shows the
  /// replacement.
  void onRefusal(RefusalHandler handler) { formatted_.onRefusal(std::move(handler)); }

  /// Ends editing from the program, as Return does, but without `returnPressed`. A text that is still composed is
  /// committed first, even if the input method does not commit by itself. Returns true if the field accepts the text,
  /// perhaps with a correction. `objectValue()` is then its object. Returns false if the field keeps its text as it is,
  /// or if a handler has destroyed this validator. A call in a handler of this validator ends nothing, and only returns
  /// whether the field has accepted its text.
  bool endEditing() {
    if (isTakenAsItIs_) return false;
    if (formatted_.isTelling()) return !isEdited();
    return requestCommit() && commitComposed() && finish();
  }

  bool eventFilter(QObject* watched, QEvent* event) override {
    // During its destruction, a field loses the keyboard focus after it has become a mere `QWidget`.
    const QPointer<QLineEdit> field = qobject_cast<QLineEdit*>(watched);
    if (field == nullptr) return false;
    switch (event->type()) {
      case QEvent::FocusOut:
        if (static_cast<QFocusEvent*>(event)->reason() != ::Qt::PopupFocusReason) leave();
        break;
      case QEvent::KeyPress:
        press(static_cast<QKeyEvent*>(event)->key());
        break;
      case QEvent::InputMethod:
        if (isResetting_) return true;
        if (settle()) compose(*static_cast<QInputMethodEvent*>(event));
        break;
      case QEvent::ShortcutOverride:
      case QEvent::MouseButtonPress:
      case QEvent::ContextMenu:
      case QEvent::Drop:
        static_cast<void>(settle());
        break;
      default:
        break;
    }
    return field == nullptr;  // Qt must not give the event to a field that a handler has destroyed.
  }

  State validate(QString& input, int& position) const override {
    judged_.reset();
    if (isComposing()) return worthOf(input);
    Answer answer;
    answer.kind = Answer::Kind::refused;
    answer.isRefusal = true;
    if (input.isValidUtf16()) answer = answerTo(input, position);
    const bool isAccepted = answer.kind == Answer::Kind::accepted;
    if (isAccepted || isTakenAsItIs_) return isAccepted ? worthOf(input) : Intermediate;
    // Qt reverts a refused text by undoing the change. Nothing can be undone after the program has set the text, or
    // after everything was undone. In a field with hidden characters, deletions cannot be undone either, but they leave
    // the field modified.
    const bool isHidden = field_->echoMode() != QLineEdit::Normal;
    if (isHidden ? !field_->isModified() : !field_->isUndoAvailable()) return Intermediate;
    if (isHidden) return takeBack(input, position, std::move(answer));
    judged_ = Refusal{input, std::move(answer)};
    return Invalid;
  }

 private:
  friend detail::FormattedFieldOf;

  using Answer = FieldEditing::Answer;

  /// A refused text, and the answer to the change that produced the text.
  struct Refusal {
    QString text;
    Answer answer;
  };

  static constexpr std::string_view file = "Tessaly/FormatterValidator";

  static QLineEdit* checked(QLineEdit* field) {
    if (field == nullptr) fatalError("A validator of a field needs a field", file, __LINE__);
    return field;
  }

  /// The answer to the change from the former text to `text`. The cursor is at `position`, the end of the change.
  [[nodiscard]] Answer answerTo(const QString& text, int position) const {
    return formatted_.editing().change(detail::TypedChange(standing_, text, position).parts());
  }
  [[nodiscard]] State worthOf(const QString& text) const {
    return formatted_.editing().state(text.toStdString()) == FieldState::acceptable ? Acceptable : Intermediate;
  }

  void press(int key) {
    if (key != ::Qt::Key_Return && key != ::Qt::Key_Enter) return static_cast<void>(settle());
    if (requestCommit() && !isComposing()) finish();
  }

  /// Whether the field shows a text that is still composed, and the last event of the input method had no other text.
  [[nodiscard]] bool isComposing() const noexcept { return !composed_.isEmpty(); }
  /// Asks an input method that composes to commit its text. Not every input method does it. Returns whether this
  /// validator still exists.
  [[nodiscard]] bool requestCommit() {
    return !isComposing() || formatted_.outlives([] { QGuiApplication::inputMethod()->commit(); });
  }
  /// Commits the composed text in place of the input method, and resets the input method. The field ignores the text
  /// that some input methods commit at the reset. Returns whether this validator still exists.
  [[nodiscard]] bool commitComposed() {
    if (!isComposing()) return true;
    QInputMethodEvent event;
    event.setCommitString(composed_);
    if (!formatted_.outlives([&] { QCoreApplication::sendEvent(field_, &event); })) return false;
    isResetting_ = true;
    if (!formatted_.outlives([] { QGuiApplication::inputMethod()->reset(); })) return false;
    isResetting_ = false;
    return true;
  }

  /// Prepares for an event of the input method, which the field receives next. A text that is still composed is not
  /// judged. If the composition replaces a selection, the deletion is judged with the text that ends the composition.
  void compose(const QInputMethodEvent& event) {
    const bool isOver = event.preeditString().isEmpty();
    const bool isReplacing = event.replacementLength() > 0;
    const bool isOnlyComposed = !isOver && event.commitString().isEmpty() && !isReplacing;
    if (!composedOver_ && (isReplacing || (isOnlyComposed && field_->hasSelectedText()))) {
      const int length = static_cast<int>(field_->selectedText().size());
      composedOver_ = {length > 0 ? field_->selectionStart() : field_->cursorPosition(), length};
      if (isOnlyComposed) spareSuffix();
    }
    if (isOver && (isComposing() || composedOver_)) {
      QMetaObject::invokeMethod(this, [this] { endComposition(); }, ::Qt::QueuedConnection);
    }
    composed_ = isOnlyComposed ? event.preeditString() : QString();
  }
  /// Takes the suffix out of the selection, so that the field does not remove it.
  void spareSuffix() {
    const std::string text = field_->text().toStdString();
    const int last = detail::positionIn(text, formatted_.editing().lastPosition(text));
    const auto [start, length] = *composedOver_;
    if (start + length > last && start < last) field_->setSelection(start, last - start);
  }
  /// Judges the text after a composition that has ended without a further change. Qt does not ask about such a text.
  void endComposition() {
    if (isComposing() || !settle() || !composedOver_) return;
    const QString text = field_->text();
    Answer answer = text == standing_ ? Answer() : answerTo(text, field_->cursorPosition());
    if (answer.kind != Answer::Kind::accepted) {
      refusal_ = Refusal{text, std::move(answer)};
      static_cast<void>(settle());
    } else {
      forgetComposedOver();
      if (formatted_.isMarked()) markText();
    }
  }
  void forgetComposedOver() {
    composedOver_.reset();
    standing_ = field_->text();
  }

  void markText() {
    FieldNotice notice;
    const FieldState state = formatted_.editing().state(field_->text().toStdString(), &notice);
    mark_.show(state, std::move(notice));
  }
  /// Shows the state of the text, and the reason of a notice. Returns whether this validator still exists.
  [[nodiscard]] bool showMark(FieldNotice notice) {
    return !formatted_.isMarked() || formatted_.outlives([&] { mark_.show(state(), std::move(notice)); });
  }

  void stayBeforeSuffix(int cursor) {
    if (field_->hasSelectedText() || isComposing()) return;
    const std::string text = field_->text().toStdString();
    const int last = detail::positionIn(text, formatted_.editing().lastPosition(text));
    if (cursor > last) field_->setCursorPosition(last);
  }

  /// Calls `change`, which changes the field. During this call, the validator refuses no text. Returns whether this
  /// validator still exists, because a slot of the host may destroy it.
  template <typename Change>
  [[nodiscard]] bool change(Change change) {
    const bool wasTaken = std::exchange(isTakenAsItIs_, true);
    if (!formatted_.outlives(change)) return false;
    isTakenAsItIs_ = wasTaken;
    return true;
  }

  /// In a field with hidden characters, a refusal would make Qt revert all changes. So this function sets the text
  /// itself. No undo history is lost, because such a field has none.
  State takeBack(QString& input, int& position, Answer answer) const {
    const std::string refused = input.toStdString();
    const bool isReplaced = answer.kind == Answer::Kind::replaced;
    input = isReplaced ? QString::fromStdString(answer.text) : standing_;
    position = isReplaced ? detail::positionIn(answer.text, answer.cursor) : static_cast<int>(input.size());
    if (answer.isRefusal) {
      QMetaObject::invokeMethod(
          const_cast<FormatterValidator*>(this),
          [this, refused, reason = std::move(answer.reason)] {
            static_cast<void>(formatted_.tellRefusal(refused, reason));
          },
          ::Qt::QueuedConnection);
    }
    return worthOf(input);
  }

  /// Replaces the text as a change that can be undone. Returns whether this validator still exists.
  [[nodiscard]] bool replace(const std::string& replacement, std::size_t cursor) {
    const QString shown = QString::fromStdString(replacement);
    if (field_->text() != shown) {
      if (!change([&] { field_->selectAll(); }) || !change([&] { field_->insert(shown); })) return false;
    }
    return change([&] { field_->setCursorPosition(detail::positionIn(replacement, cursor)); });
  }

  /// Keeps the refusal for later, because Qt emits `inputRejected` before it reverts the change.
  void noteRefusal() {
    if (!judged_) return;  // The field itself refused the text, because of its maximum length or its mask.
    refusal_ = std::exchange(judged_, std::nullopt);
    QMetaObject::invokeMethod(this, [this] { static_cast<void>(settle()); }, ::Qt::QueuedConnection);
  }

  /// Completes the refusal of a text after Qt has reverted the text: sets the replacement, and reports the refusal.
  /// Returns whether this validator still exists.
  [[nodiscard]] bool settle() {
    if (!refusal_) return true;
    const Refusal refusal = *std::exchange(refusal_, std::nullopt);
    if (composedOver_) {
      if (refusal.answer.kind == Answer::Kind::refused && !restoreComposedOver()) return false;
    } else if (field_->text() == refusal.text) {
      // Qt has not reverted the text, because the program or an undo set the text. Qt accepts every change while the
      // text counts as invalid. So this function sets the same text again without a check. Qt then counts it as valid.
      const int cursor = field_->cursorPosition();
      return change([&] { field_->setText(refusal.text); }) && change([&] { field_->setCursorPosition(cursor); });
    }
    const Answer& answer = refusal.answer;
    if (answer.kind == Answer::Kind::replaced && !replace(answer.text, answer.cursor)) return false;
    return !answer.isRefusal || formatted_.tellRefusal(refusal.text.toStdString(), answer.reason);
  }

  /// Restores the text, the selection and the cursor before a refused change by the input method. Returns whether this
  /// validator still exists.
  [[nodiscard]] bool restoreComposedOver() {
    const auto [start, length] = *std::exchange(composedOver_, std::nullopt);
    const std::string text = standing_.toStdString();
    if (!replace(text, standing_.left(start).toStdString().size())) return false;
    return length == 0 || change([&] { field_->setSelection(start, length); });
  }

  /// Qt has asked the input method to commit its text before the focus leaves. Some input methods commit only after
  /// this event, in the same turn of the loop.
  void leave() {
    if (!isComposing()) return endAfterFocus();
    QMetaObject::invokeMethod(
        this,
        [this] {
          if (!field_->hasFocus()) endAfterFocus();
        },
        ::Qt::QueuedConnection);
  }
  /// Ends editing because the focus has left, unless editing has already ended with this text.
  void endAfterFocus() {
    composed_.clear();
    if (!settle()) return;
    if (composedOver_) forgetComposedOver();
    if (!formatted_.hasEndedWith(field_->text().toStdString())) finish();
  }

  /// Returns whether the field has accepted the text, and this validator still exists.
  bool finish() {
    if (!settle()) return false;
    const QString shown = field_->text();
    const std::string text = shown.toStdString();
    const std::size_t cursor = shown.left(field_->cursorPosition()).toStdString().size();
    const FieldEditing::End end = formatted_.end(text, cursor);
    if (end.text != text && !replace(end.text, end.cursor)) return false;
    if (end.hasEnded && !end.notice.isNone() && !showMark(end.notice)) return false;
    if (formatted_.isMarked() && !formatted_.outlives([&] { mark_.open(); })) return false;
    return formatted_.tell(text, end) && end.hasEnded;
  }

  QLineEdit* const field_;
  detail::FieldMark mark_;
  detail::FormattedField formatted_;
  /// The last judged text, if it was refused.
  mutable std::optional<Refusal> judged_;
  /// The refusal that waits until Qt has reverted the text. Then the replacement and the report follow.
  std::optional<Refusal> refusal_;
  /// The text before the change that is being judged.
  QString standing_;
  /// The start and the length of the selection in `standing_` that the input method replaces, or the cursor and 0.
  /// Absent after the change was judged.
  std::optional<std::pair<int, int>> composedOver_;
  /// The text that the input method still composes, if its last event had no other text.
  QString composed_;
  bool isTakenAsItIs_ = false;
  bool isResetting_ = false;
};

}  // namespace Tessaly::inline v1::Qt6
