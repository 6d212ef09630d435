// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/detail/ForwardEdit.hpp"

#include <algorithm>
#include <memory>
#include <utility>

namespace Tessaly::inline v1::detail {

ForwardEdit::ForwardEdit(NSMutableAttributedString& string)
    : string_(string), original_(std::move(string.units_)), originalRuns_(std::move(string.runs_)) {
  units_.reserve(original_.size());
  runs_.reserve(originalRuns_.size());
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
  const std::int64_t end = range.location + range.length;
  if (end > doneLength()) copyUpTo(end);
  SharedAttributes before;
  SharedAttributes after;
  std::int64_t begin = range.location;
  for (Run& run : takeDoneRunsFrom(range.location)) {
    const std::int64_t covered = std::min(run.length, end - begin);
    if (covered > 0) {
      if (run.attributes != before) {
        before = run.attributes;
        after = NSMutableAttributedString::joined(*before, attributes);
      }
      appendRun(covered, after);
    }
    appendRun(run.length - std::max<std::int64_t>(covered, 0), std::move(run.attributes));
    begin += run.length;
  }
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

void ForwardEdit::appendRun(std::int64_t length, SharedAttributes attributes) {
  ++steps_;
  if (length == 0) return;
  if (!runs_.empty() && runs_.back().attributes == attributes) {
    runs_.back().length += length;
  } else {
    runs_.push_back({length, std::move(attributes)});
  }
}

/// Removes and returns the runs behind a place of the finished text, in order.
std::vector<ForwardEdit::Run> ForwardEdit::takeDoneRunsFrom(std::int64_t location) {
  std::vector<Run> taken;
  for (std::int64_t left = doneLength() - location; left > 0;) {
    Run& last = runs_.back();
    const std::int64_t length = std::min(last.length, left);
    left -= length;
    ++steps_;
    taken.push_back({length, last.attributes});
    last.length -= length;
    if (last.length == 0) runs_.pop_back();
  }
  std::ranges::reverse(taken);
  return taken;
}

}  // namespace Tessaly::inline v1::detail
