// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/NSMutableAttributedString.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "Tessaly/Core/Text/UTF16.hpp"

namespace Tessaly::inline v1 {

NSMutableAttributedString::NSMutableAttributedString(std::string_view text, Attributes attributes)
    : units_(Text::toUTF16(text)) {
  if (!units_.empty()) runs_.push_back({length(), std::make_shared<const Attributes>(std::move(attributes))});
}

std::string NSMutableAttributedString::string() const { return Text::fromUTF16(units_); }

void NSMutableAttributedString::checkRange(NSRange range, std::int64_t length) {
  if (range.location < 0 || range.length < 0 || range.location > length || range.length > length - range.location) {
    throw std::out_of_range("The range {" + std::to_string(range.location) + ", " + std::to_string(range.length) +
                            "} is out of the bounds of a text of " + std::to_string(length) + " units");
  }
}

NSMutableAttributedString::SharedAttributes NSMutableAttributedString::joined(Attributes attributes,
                                                                              const Attributes& added) {
  for (const auto& [key, value] : added) attributes.insert_or_assign(key, value);
  return std::make_shared<const Attributes>(std::move(attributes));
}

std::pair<std::size_t, std::int64_t> NSMutableAttributedString::runAt(std::int64_t location) const {
  std::size_t number = 0;
  std::int64_t begin = 0;
  while (begin + runs_[number].length <= location) begin += runs_[number++].length;
  return {number, begin};
}

const NSMutableAttributedString::Attributes& NSMutableAttributedString::attributes(std::int64_t location) const {
  checkRange({location, 1});
  return *runs_[runAt(location).first].attributes;
}

NSRange NSMutableAttributedString::effectiveRange(std::int64_t location) const {
  checkRange({location, 1});
  const auto [number, begin] = runAt(location);
  return {begin, runs_[number].length};
}

std::size_t NSMutableAttributedString::splitAt(std::int64_t location) {
  if (location == length()) return runs_.size();
  const auto [number, begin] = runAt(location);
  if (begin == location) return number;
  Run tail{begin + runs_[number].length - location, runs_[number].attributes};
  // The insertion may throw, so the run is shortened afterwards.
  runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(number) + 1, std::move(tail));
  runs_[number].length = location - begin;
  return number + 1;
}

void NSMutableAttributedString::joinEqualRuns() {
  std::size_t last = 0;
  for (std::size_t number = 1; number < runs_.size(); ++number) {
    if (runs_[number].attributes == runs_[last].attributes) {
      runs_[last].length += runs_[number].length;
    } else if (++last != number) {
      runs_[last] = std::move(runs_[number]);
    }
  }
  if (!runs_.empty()) runs_.resize(last + 1);
}

void NSMutableAttributedString::addAttributes(const Attributes& attributes, NSRange range) {
  checkRange(range);
  if (range.length == 0) return;
  const std::size_t first = splitAt(range.location);
  const std::size_t end = splitAt(range.location + range.length);
  SharedAttributes before;
  SharedAttributes after;
  for (std::size_t number = first; number < end; ++number) {
    if (runs_[number].attributes != before) {
      before = runs_[number].attributes;
      after = joined(*before, attributes);
    }
    runs_[number].attributes = after;
  }
  joinEqualRuns();
}

void NSMutableAttributedString::replaceCharacters(NSRange range, std::u16string_view text) {
  checkRange(range);
  SharedAttributes inherited;
  if (runs_.empty()) {
    inherited = std::make_shared<const Attributes>();
  } else {
    const std::int64_t model = range.length > 0 ? range.location : std::max<std::int64_t>(range.location - 1, 0);
    inherited = runs_[runAt(model).first].attributes;
  }
  const auto first = static_cast<std::ptrdiff_t>(splitAt(range.location));
  const auto end = static_cast<std::ptrdiff_t>(splitAt(range.location + range.length));
  runs_.reserve(runs_.size() + 1);  // Nothing may fail between the change of the units and that of the runs.
  units_.replace(static_cast<std::size_t>(range.location), static_cast<std::size_t>(range.length), text);
  runs_.erase(runs_.begin() + first, runs_.begin() + end);
  if (!text.empty()) {
    runs_.insert(runs_.begin() + first, {static_cast<std::int64_t>(text.size()), std::move(inherited)});
  }
  joinEqualRuns();
}

}  // namespace Tessaly::inline v1
