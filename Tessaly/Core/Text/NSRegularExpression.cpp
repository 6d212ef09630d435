// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/NSRegularExpression.hpp"

#include <unicode/uregex.h>

#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "Tessaly/Core/Text/UTF16.hpp"

namespace Tessaly::inline v1 {
namespace {

struct Closer {
  void operator()(URegularExpression* expression) const noexcept { uregex_close(expression); }
};
using Handle = std::unique_ptr<URegularExpression, Closer>;

}  // namespace

RegularExpressionError::RegularExpressionError(std::string pattern, std::string reason)
    : pattern(std::move(pattern)), reason(std::move(reason)) {}

RegularExpressionError::~RegularExpressionError() = default;

std::string RegularExpressionError::description() const {
  return "The pattern \"" + pattern + "\" is no regular expression: " + reason;
}

struct NSRegularExpression::Compiled {
  explicit Compiled(std::string_view text) : pattern(text) {
    const std::u16string units = Text::toUTF16(text);
    UErrorCode status = U_ZERO_ERROR;
    // ICU refuses an empty pattern. Here an empty pattern matches everywhere.
    const std::u16string_view given = units.empty() ? u"(?:)" : std::u16string_view(units);
    handle.reset(uregex_open(given.data(), static_cast<std::int32_t>(given.size()), 0, nullptr, &status));
    if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
    if (U_FAILURE(status)) throw RegularExpressionError(pattern, u_errorName(status));
  }

  std::string pattern;
  Handle handle;
};

NSRegularExpression::NSRegularExpression(std::string_view pattern)
    : compiled_(std::make_shared<const Compiled>(pattern)) {}
NSRegularExpression::~NSRegularExpression() = default;
NSRegularExpression::NSRegularExpression(const NSRegularExpression&) noexcept = default;
NSRegularExpression& NSRegularExpression::operator=(const NSRegularExpression&) noexcept = default;

const std::string& NSRegularExpression::pattern() const noexcept { return compiled_->pattern; }

std::vector<NSRange> NSRegularExpression::find(std::u16string_view text, std::size_t most) const {
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw std::length_error("A text is too long to be searched");
  }
  UErrorCode status = U_ZERO_ERROR;
  // Each call has its own matcher, which shares the compiled expression.
  const Handle matcher(uregex_clone(compiled_->handle.get(), &status));
  if (U_FAILURE(status)) throw std::bad_alloc();
  uregex_setText(matcher.get(), text.empty() ? u"" : text.data(), static_cast<std::int32_t>(text.size()), &status);
  std::vector<NSRange> ranges;
  while (ranges.size() < most && uregex_findNext(matcher.get(), &status) != 0 && U_SUCCESS(status)) {
    const std::int64_t begin = uregex_start(matcher.get(), 0, &status);
    ranges.push_back({begin, uregex_end(matcher.get(), 0, &status) - begin});
  }
  return ranges;
}

std::vector<NSRange> NSRegularExpression::matches(std::u16string_view text) const {
  return find(text, std::numeric_limits<std::size_t>::max());
}

std::optional<NSRange> NSRegularExpression::rangeOfFirstMatch(std::u16string_view text) const {
  const std::vector<NSRange> ranges = find(text, 1);
  if (ranges.empty()) return std::nullopt;
  return ranges.front();
}

}  // namespace Tessaly::inline v1
