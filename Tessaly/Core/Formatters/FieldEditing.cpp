// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/FieldEditing.hpp"

#include <algorithm>
#include <iterator>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Formatters/detail/FieldNumbers.hpp"
#include "Tessaly/Core/Formatters/detail/NumberOfObject.hpp"
#include "Tessaly/Core/Formatters/detail/TypedNumber.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1 {
namespace {

using Kind = FieldNotice::Kind;

/// Asks the formatter. An exception stops the process, because toolkits do not pass exceptions on.
template <typename Question>
void ask(Question question) noexcept {
  callNotification("A field's formatter", question);
}

FieldNotice noticeOf(Kind kind, std::string reason) { return {kind, {}, {}, std::move(reason)}; }

std::string sentenceOf(const FieldNotice& notice) {
  const std::string typed = "“" + notice.typed + "”";
  const std::string shown = "“" + notice.shown + "”";
  switch (notice.kind) {
    case Kind::none:
      return {};
    case Kind::empty:
      return "A number is needed.";
    case Kind::notANumber:
      return typed + " is not a number.";
    case Kind::belowRange:
      return typed + " is less than " + shown + ".";
    case Kind::aboveRange:
      return typed + " is more than " + shown + ".";
    case Kind::rounded:
      return typed + " is rounded to " + shown + ".";
    case Kind::rewritten:
      return "The field takes " + shown + " instead of " + typed + ".";
    case Kind::refused:
      return "The field does not take " + typed + ".";
  }
  return {};
}

}  // namespace

FieldEditing::FieldEditing(std::shared_ptr<Formatter> formatter, FieldChecking checking, Rules rules)
    : formatter_(std::move(formatter)), checking_(checking), rules_(std::move(rules)) {
  if (formatter_ == nullptr) fatalError("A field needs a formatter", "Tessaly/FieldEditing", __LINE__);
}

FieldEditing::Judgement FieldEditing::judge(std::string_view text) const noexcept {
  Judgement judgement;
  ask([&] {
    std::optional<std::string> reason;
    judgement.isAccepted = formatter_->isPartialStringValid(text, &judgement.replacement, &reason);
    judgement.reason = std::move(reason).value_or("");
  });
  return judgement;
}

/// Parses a text. If `getObjectValue` fails and the formatter has `numberFromAnyString`, that function decides.
std::any FieldEditing::read(std::string_view text, std::string* reason) const noexcept {
  std::any object;
  ask([&] {
    std::optional<std::string> description;
    if (formatter_->getObjectValue(&object, text, &description)) return;
    object = rules_.readAnyString ? rules_.readAnyString(text) : std::any();
    if (reason != nullptr) *reason = std::move(description).value_or("");
  });
  return object;
}

std::optional<std::string> FieldEditing::write(const std::any& object) const noexcept {
  std::optional<std::string> text;
  ask([&] { text = formatter_->string(object); });
  return text;
}

std::string FieldEditing::suffix() const noexcept {
  std::string suffix;
  if (rules_.suffix) ask([&] { suffix = rules_.suffix(); });
  return suffix;
}

std::optional<std::string> FieldEditing::show(std::any object) noexcept {
  const std::optional<NSNumber> number = detail::numberOfObject(object);
  // The object then has the same type as the object of a typed text.
  if (number && rules_.number != nullptr) object = *number;
  if (rules_.range) {
    if (!number || number->doubleValue() != number->doubleValue()) return std::nullopt;
    bool isWithin = false;
    ask([&] { isWithin = Numbers(*this).isInRange(*number); });
    if (!isWithin) return std::nullopt;
  }
  std::optional<std::string> text = write(object);
  if (!text || !isAllowed(object)) return std::nullopt;
  object_ = std::move(object);
  shown_ = text;
  return text;
}

FieldEditing::Answer FieldEditing::change(const Change& change) const noexcept {
  if (checking_ == FieldChecking::atEveryChange) return obey(change);
  Answer answer;
  if (rules_.number != nullptr) {
    ask([&] { answer = keepSuffix(change); });
    return answer;
  }
  const std::string whole = std::string(change.before) + std::string(change.inserted) + std::string(change.behind);
  Judgement judgement = judge(whole);
  if (judgement.isAccepted || judgement.replacement || change.inserted.empty()) return answer;
  const std::string former = std::string(change.before) + std::string(change.removed) + std::string(change.behind);
  const auto length = [](std::string_view text) {
    const Text::Scalars scalars(text);
    return std::ranges::distance(scalars.begin(), scalars.end());
  };
  if (length(whole) <= length(former) && !judge(former).isAccepted) return answer;
  return refusal(whole, std::move(judgement));
}

/// The answer to a change whose text the formatter does not accept, without a position of the cursor.
FieldEditing::Answer FieldEditing::refusal(std::string_view whole, Judgement judgement) const noexcept {
  const bool isReplaced = judgement.replacement.has_value();
  Answer answer;
  answer.isRefusal = true;
  answer.kind = isReplaced ? Answer::Kind::replaced : Answer::Kind::refused;
  answer.text = std::move(judgement.replacement).value_or("");
  FieldNotice notice = noticeOf(isReplaced ? Kind::rewritten : Kind::refused, std::move(judgement.reason));
  explain(notice, whole, answer.text);
  answer.reason = std::move(notice.reason);
  return answer;
}

FieldEditing::Answer FieldEditing::obey(const Change& change) const noexcept {
  const std::string whole = std::string(change.before) + std::string(change.inserted) + std::string(change.behind);
  Judgement judgement = judge(whole);
  if (judgement.isAccepted) return {};
  Answer answer = refusal(whole, std::move(judgement));
  if (answer.kind == Answer::Kind::refused) return answer;
  answer.cursor = cursorIn(answer.text, std::string(change.before) + std::string(change.inserted), change.behind);
  return answer;
}

/// Moves a change that touches the suffix to the text before the suffix. A typed suffix is dropped if the field already
/// has it.
FieldEditing::Answer FieldEditing::keepSuffix(const Change& change) const {
  const std::string suffix = this->suffix();
  const std::string former = std::string(change.before) + std::string(change.removed) + std::string(change.behind);
  Answer answer;
  if (suffix.empty() || !former.ends_with(suffix)) return answer;
  const std::string_view body = std::string_view(former).substr(0, former.size() - suffix.size());
  const std::size_t start = std::min(change.before.size(), body.size());
  const std::size_t end = std::min(change.before.size() + change.removed.size(), body.size());
  std::string typed = std::string(body.substr(0, start)) + std::string(change.inserted);
  if (end == body.size() && !change.inserted.empty()) {
    typed.resize(detail::withoutSuffix(typed, suffix).size());
  }
  answer.cursor = typed.size();
  answer.text = typed + std::string(body.substr(end)) + suffix;
  const bool isNatural = answer.text.size() == change.before.size() + change.inserted.size() + change.behind.size() &&
                         std::string_view(answer.text).substr(0, change.before.size()) == change.before &&
                         std::string_view(answer.text).substr(change.before.size()).starts_with(change.inserted) &&
                         answer.text.ends_with(change.behind);
  if (!isNatural) answer.kind = answer.text == former ? Answer::Kind::refused : Answer::Kind::replaced;
  return answer;
}

std::size_t FieldEditing::lastPosition(std::string_view text) const noexcept {
  if (checking_ == FieldChecking::atEveryChange || rules_.number == nullptr) return text.size();
  const std::string suffix = this->suffix();
  return text.ends_with(suffix) ? text.size() - suffix.size() : text.size();
}

/// The position of the cursor in a replacement. If the replacement ends with the text after the cursor, the cursor
/// stands before that text. Otherwise the cursor stands after the text before it, or else at the end. The cursor stays
/// before a suffix that the replacement adds.
std::size_t FieldEditing::cursorIn(std::string_view replacement, std::string_view before,
                                   std::string_view behind) const noexcept {
  const std::string suffix = this->suffix();
  if (!behind.ends_with(suffix) && !(behind.empty() && before.ends_with(suffix)) && replacement.ends_with(suffix)) {
    replacement.remove_suffix(suffix.size());
  }
  if (replacement.ends_with(behind)) return replacement.size() - behind.size();
  if (replacement.starts_with(before)) return before.size();
  return replacement.size();
}

FieldEditing::Outcome FieldEditing::outcomeOfText(std::string_view text) const {
  Outcome outcome;
  outcome.shown = std::string(text);
  Judgement judgement = judge(text);
  if (!judgement.isAccepted) {
    outcome.state = FieldState::invalid;
    outcome.notice = noticeOf(Kind::refused, std::move(judgement.reason));
    if (!judgement.replacement) return outcome;
    outcome.shown = *std::move(judgement.replacement);
  }
  std::string reason;
  outcome.object = read(outcome.shown, &reason);
  if (!outcome.object.has_value()) {
    if (judgement.isAccepted) outcome.state = FieldState::incomplete;
    outcome.notice = noticeOf(Kind::refused, std::move(reason));
    return outcome;
  }
  outcome.shown = write(outcome.object).value_or(outcome.shown);
  if (!outcome.notice.isNone() || outcome.shown == text) return outcome;
  if (rules_.meansTheSame) {
    if (rules_.meansTheSame(text, outcome.shown)) return outcome;
    outcome.object = read(outcome.shown);
  }
  outcome.notice.kind = Kind::rewritten;
  outcome.state = FieldState::invalid;
  return outcome;
}

FieldEditing::Outcome FieldEditing::outcome(std::string_view text) const noexcept {
  Outcome outcome;
  if (object_.has_value() && text == shown_) {
    outcome.object = object_;
    outcome.shown = *shown_;
    return outcome;
  }
  ask([&] { outcome = rules_.number != nullptr ? Numbers(*this).outcome(text) : outcomeOfText(text); });
  if (outcome.object.has_value() && !isAllowed(outcome.object)) {
    outcome.object.reset();
    outcome.state = FieldState::invalid;
    outcome.notice.kind = Kind::refused;
  }
  explain(outcome.notice, text, outcome.shown);
  return outcome;
}

bool FieldEditing::isAllowed(const std::any& object) const noexcept {
  bool isAllowed = true;
  const auto question = [&] { isAllowed = rule_(object); };
  if (rule_) callNotification("The rule of a field", question);
  return isAllowed;
}

void FieldEditing::explain(FieldNotice& notice, std::string_view typed, std::string_view shown) const noexcept {
  if (notice.isNone()) return;
  notice.typed = std::string(typed);
  notice.shown = std::string(shown);
  if (notice.reason.empty()) notice.reason = sentenceOf(notice);
  if (!explanation_) return;
  std::string own;
  const auto translate = [&] { own = explanation_(notice); };
  callNotification("The explanation of a field", translate);
  if (!own.empty()) notice.reason = std::move(own);
}

FieldState FieldEditing::state(std::string_view text, FieldNotice* notice) const noexcept {
  Outcome found = outcome(text);
  if (notice != nullptr) *notice = std::move(found.notice);
  return found.state;
}

FieldEditing::End FieldEditing::end(std::string_view text, std::size_t cursor) noexcept {
  Outcome found = outcome(text);
  cursor = std::min(cursor, text.size());
  End result{true, std::move(found.shown), cursor, std::move(found.notice)};
  if (found.object.has_value()) {
    object_ = std::move(found.object);
    shown_ = result.text;
  } else if (result.notice.kind == Kind::empty && object_.has_value()) {
    result.text = *shown_;
  } else {
    result.hasEnded = false;
    result.text = std::string(text);
  }
  if (result.text != text) result.cursor = cursorIn(result.text, text.substr(0, cursor), text.substr(cursor));
  return result;
}

}  // namespace Tessaly::inline v1
