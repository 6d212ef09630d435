// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/detail/ForwardEdit.hpp"

#include <algorithm>
#include <memory>
#include <utility>

namespace Tessaly::inline v1::detail {

ForwardEdit::ForwardEdit(NSMutableAttributedString& string) : string_(string) {
  units_.reserve(string.units_.size());
  runs_.reserve(string.runs_.size());
  // The reservations may throw, so the contents are taken afterwards.
  original_ = std::move(string.units_);
  originalRuns_ = std::move(string.runs_);
}

ForwardEdit::~ForwardEdit() {
  copyUpTo(doneLength() + static_cast<std::int64_t>(original_.size() - rest_));
  string_.units_ = std::move(units_);
  string_.runs_ = std::move(runs_);
}

void ForwardEdit::checkRange(NSRange range) const {
  NSMutableAttributedString::checkRange(range, doneLength() + static_cast<std::int64_t>(original_.size() - rest_));
}

void ForwardEdit::replaceCharacters(NSRange range, std::u16string_view text) {
  checkRange(range);
  makeRoomForRuns(2);  // The run that the range may split, and the run of the text.
  copyUpTo(range.location);
  if (range.length == 0) return;
  SharedAttributes inherited = originalRuns_[restRun_].attributes;
  skip(range.length);
  units_ += text;
  steps_ += text.size();
  appendRun(static_cast<std::int64_t>(text.size()), std::move(inherited));
}

void ForwardEdit::addAttributes(const Attributes& attributes, NSRange range) {
  checkRange(range);
  makeRoomForRuns(1);  // The run that the range may split.
  const std::int64_t end = range.location + range.length;
  if (end > doneLength()) copyUpTo(end);
  std::vector<Run> changed;
  SharedAttributes before;
  SharedAttributes after;
  std::int64_t begin = range.location;
  for (Run& run : doneRunsFrom(range.location)) {
    const std::int64_t covered = std::clamp<std::int64_t>(end - begin, 0, run.length);
    if (covered > 0) {
      if (run.attributes != before) {
        before = run.attributes;
        after = NSMutableAttributedString::joined(*before, attributes);
      }
      changed.push_back({covered, after});
    }
    changed.push_back({run.length - covered, std::move(run.attributes)});
    begin += run.length;
  }
  makeRoomForRuns(changed.size());
  removeDoneRunsFrom(range.location);
  for (Run& run : changed) appendRun(run.length, std::move(run.attributes));
}

void ForwardEdit::copyUpTo(std::int64_t location) {
  const std::int64_t length = location - doneLength();
  units_.append(original_, rest_, static_cast<std::size_t>(length));
  rest_ += static_cast<std::size_t>(length);
  steps_ += static_cast<std::uint64_t>(length);
  for (std::int64_t left = length; left > 0;) {
    Run run = takeRun(left);
    left -= run.length;
    appendRun(run.length, std::move(run.attributes));
  }
}

void ForwardEdit::skip(std::int64_t length) {
  rest_ += static_cast<std::size_t>(length);
  while (length > 0) length -= takeRun(length).length;
}

/// Takes the first unfinished run, or its first `maximumLength` units.
ForwardEdit::Run ForwardEdit::takeRun(std::int64_t maximumLength) {
  Run& first = originalRuns_[restRun_];
  ++steps_;
  if (first.length > maximumLength) {
    first.length -= maximumLength;
    return {maximumLength, first.attributes};
  }
  ++restRun_;
  return std::move(first);
}

/// Reserves the room for more runs, besides the unfinished runs, which the destructor appends. So nothing fails in the
/// middle of a change.
void ForwardEdit::makeRoomForRuns(std::size_t count) {
  const std::size_t needed = runs_.size() + (originalRuns_.size() - restRun_) + count;
  if (needed > runs_.capacity()) runs_.reserve(std::max(needed, 2 * runs_.capacity()));
}

void ForwardEdit::appendRun(std::int64_t length, SharedAttributes attributes) {
  ++steps_;
  if (length == 0) return;
  if (!runs_.empty() && runs_.back().attributes == attributes) {
    runs_.back().length += length;
  } else {
    runs_.push_back({length, std::move(attributes)});
  }
}

/// The runs after a place of the finished text, in order.
std::vector<ForwardEdit::Run> ForwardEdit::doneRunsFrom(std::int64_t location) {
  std::vector<Run> found;
  std::size_t number = runs_.size();
  for (std::int64_t left = doneLength() - location; left > 0;) {
    const Run& last = runs_[--number];
    const std::int64_t length = std::min(last.length, left);
    left -= length;
    ++steps_;
    found.push_back({length, last.attributes});
  }
  std::ranges::reverse(found);
  return found;
}

void ForwardEdit::removeDoneRunsFrom(std::int64_t location) noexcept {
  for (std::int64_t left = doneLength() - location; left > 0;) {
    Run& last = runs_.back();
    const std::int64_t length = std::min(last.length, left);
    left -= length;
    last.length -= length;
    if (last.length == 0) runs_.pop_back();
  }
}

}  // namespace Tessaly::inline v1::detail
