// SPDX-License-Identifier: MIT
// Component: Tessaly::QtWidgetsAdapter
#pragma once

#include <QEvent>
#include <QLineEdit>
#include <QMetaObject>
#include <QString>
#include <QValidator>
#include <any>
#include <concepts>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Adapters/detail/FormattedField.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"

namespace Tessaly::inline v1::Qt6 {

/// Connects a `QLineEdit` to a `Formatter`, which checks the input, and shows the text of an object.
///
/// The validator asks `isPartialStringValid` whenever the user types, pastes, drops, cuts or commits composed input. A
/// refused change leaves the field unchanged, cursor and selection included. A replacement takes the place of the whole
/// text in the next turn of the event loop, before the field gets another event. Undo then restores the text before the
/// refused change. When editing ends (Return, or the focus leaves), the validator asks `getObjectValue`, and the field
/// shows `string` of that object. Some formatters, such as `Formatters::RangeNumber`, also have `numberFromAnyString`.
/// If `getObjectValue` fails, the validator asks that function, so the user need not type affixes.
///
/// The nearest facilities of Qt are `QIntValidator` and `QDoubleValidator`, which refuse but do not replace, and input
/// masks. The validator does not check texts that the program or undo sets. `validate` calls such a text `Intermediate`
/// if the formatter refuses it, and the check resumes with the next change. `Acceptable` means that editing could end
/// with the text. Lone surrogates are refused.
///
/// The constructor installs the validator in the field, which owns it. Do not give it to another field. It needs no
/// moc.
///
/// These stop the process: a null formatter or field, and an exception from a formatter or handler.
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
  FormatterValidator(std::shared_ptr<Kind> formatter, QLineEdit* field)
      : QValidator(checked(field)), field_(field), formatted_(std::move(formatter), file), standing_(field->text()) {
    QObject::connect(field, &QLineEdit::inputRejected, this, [this] { noteRefusal(); });
    QObject::connect(field, &QLineEdit::textChanged, this, [this](const QString& text) {
      if (refusal_ && refusal_->text != text) refusal_.reset();
      standing_ = text;
    });
    QObject::connect(field, &QLineEdit::editingFinished, this, [this] { finish(); });
    field->installEventFilter(this);
    field->setValidator(this);
  }

  /// The last result of editing, or the object that was set since. Empty before both.
  [[nodiscard]] const std::any& objectValue() const noexcept { return formatted_.object(); }
  /// Shows an object, and clears the undo history. Returns false and does nothing if the formatter does not support the
  /// object.
  bool setObjectValue(std::any object) {
    const std::optional<std::string> text = formatted_.write(object);
    if (!text) return false;
    formatted_.setObject(std::move(object));
    refusal_.reset();
    takeAsItIs([&] { field_->setText(QString::fromStdString(*text)); });
    return true;
  }

  /// Called whenever editing ends with a valid text, after the field shows the object.
  void onEditingEnd(EndHandler handler) { formatted_.onEnd(std::move(handler)); }
  /// Called with every refused text and the description of the formatter, if any. This includes the end of editing. A
  /// replacement is in the field by then.
  void onRefusal(RefusalHandler handler) { formatted_.onRefusal(std::move(handler)); }

  bool eventFilter(QObject*, QEvent* event) override {
    switch (event->type()) {
      case QEvent::ShortcutOverride:
      case QEvent::KeyPress:
      case QEvent::InputMethod:
      case QEvent::MouseButtonPress:
      case QEvent::ContextMenu:
      case QEvent::Drop:
      case QEvent::FocusOut:
        settle();
        break;
      default:
        break;
    }
    return false;
  }

  State validate(QString& input, int& position) const override {
    judged_.reset();
    const std::string text = input.toStdString();
    detail::FormattedField::Judgement judgement;
    if (input.isValidUtf16()) judgement = formatted_.judge(text);
    if (judgement.isAccepted || isTakenAsItIs_) {
      return judgement.isAccepted && formatted_.read(text).has_value() ? Acceptable : Intermediate;
    }
    // Nothing can be undone after the program has set the text, or after everything was undone.
    const bool isHidden = field_->echoMode() != QLineEdit::Normal;
    if (!field_->isUndoAvailable() && !(isHidden && isDeletion(input))) return Intermediate;
    if (isHidden) return takeBack(input, position, judgement);
    judged_ = Refusal{input, position, std::move(judgement)};
    return Invalid;
  }

  /// Qt calls this at the end of editing, unless the text is acceptable.
  void fixup(QString& input) const override {
    const std::string text = input.toStdString();
    detail::FormattedField::Judgement judgement;
    if (input.isValidUtf16()) judgement = formatted_.judge(text);
    if (!judgement.isAccepted) {
      if (judgement.replacement) input = QString::fromStdString(*judgement.replacement);
    } else {
      static_cast<void>(formatted_.read(text, &judgement.reason));
    }
    formatted_.tellRefusal(text, judgement.reason);
  }

 private:
  /// A change that the formatter refused.
  struct Refusal {
    QString text;
    int cursor = 0;
    detail::FormattedField::Judgement judgement;
  };

  static constexpr std::string_view file = "Tessaly/FormatterValidator";

  static QLineEdit* checked(QLineEdit* field) {
    if (field == nullptr) fatalError("A validator of a field needs a field", file, __LINE__);
    return field;
  }

  template <typename Change>
  void takeAsItIs(Change change) {
    isTakenAsItIs_ = true;
    change();
    isTakenAsItIs_ = false;
  }

  /// Whether a part of the former text is missing. In a field with hidden characters, Qt reports deletions as changes
  /// that cannot be undone.
  [[nodiscard]] bool isDeletion(const QString& text) const {
    if (text.size() >= standing_.size()) return false;
    qsizetype same = 0;
    while (same < text.size() && text[same] == standing_[same]) ++same;
    return standing_.endsWith(QStringView(text).mid(same));
  }

  /// In a field with hidden characters, Qt would revert all changes after a refusal. Such a field has no undo history,
  /// so this function sets the text itself.
  State takeBack(QString& input, int& position, const detail::FormattedField::Judgement& judgement) const {
    const std::string refused = input.toStdString();
    input = judgement.replacement ? QString::fromStdString(*judgement.replacement) : standing_;
    position = static_cast<int>(input.size());
    QMetaObject::invokeMethod(
        const_cast<FormatterValidator*>(this),
        [this, refused, reason = judgement.reason] { formatted_.tellRefusal(refused, reason); },
        ::Qt::QueuedConnection);
    return formatted_.read(input.toStdString()).has_value() ? Acceptable : Intermediate;
  }

  /// Replaces the text as a change that can be undone.
  void replace(const QString& text, int cursor, const std::string& replacement) {
    const QString shown = QString::fromStdString(replacement);
    const std::string before = text.left(cursor).toStdString();
    const std::string behind = text.mid(cursor).toStdString();
    const std::size_t offset = formatted_.cursorIn(replacement, before, behind);
    if (field_->text() != shown) {
      takeAsItIs([&] {
        field_->selectAll();
        field_->insert(shown);
      });
    }
    field_->setCursorPosition(static_cast<int>(QString::fromStdString(replacement.substr(0, offset)).size()));
  }

  /// Qt emits this signal before it reverts the change.
  void noteRefusal() {
    if (!judged_) return;  // The field itself refused the text, because of its maximum length or its mask.
    refusal_ = std::exchange(judged_, std::nullopt);
    QMetaObject::invokeMethod(this, [this] { settle(); }, ::Qt::QueuedConnection);
  }

  void settle() {
    if (!refusal_) return;
    const Refusal refusal = *std::exchange(refusal_, std::nullopt);
    if (field_->text() == refusal.text) {
      // Qt has not reverted the text, because the program or an undo set it. In this state Qt accepts every text.
      const int cursor = field_->cursorPosition();
      takeAsItIs([&] { field_->setText(refusal.text); });
      field_->setCursorPosition(cursor);
      return;
    }
    if (const auto& replacement = refusal.judgement.replacement) replace(refusal.text, refusal.cursor, *replacement);
    formatted_.tellRefusal(refusal.text.toStdString(), refusal.judgement.reason);
  }

  void finish() {
    settle();
    const QString text = field_->text();
    std::any object = formatted_.read(text.toStdString());
    if (!object.has_value()) return;
    if (const std::optional<std::string> shown = formatted_.write(object)) {
      if (text != QString::fromStdString(*shown)) replace(text, field_->cursorPosition(), *shown);
    }
    formatted_.setObject(std::move(object));
    formatted_.tellEnd();
  }

  QLineEdit* const field_;
  detail::FormattedField formatted_;
  /// The last judged text, if it was refused.
  mutable std::optional<Refusal> judged_;
  /// The replacement and report that are pending until Qt has reverted the text.
  std::optional<Refusal> refusal_;
  /// The text before the change that is being judged.
  QString standing_;
  bool isTakenAsItIs_ = false;
};

}  // namespace Tessaly::inline v1::Qt6
