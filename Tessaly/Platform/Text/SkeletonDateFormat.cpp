// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Text/detail/SkeletonDateFormat.hpp"

#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

namespace Tessaly::inline v1::detail {
namespace {

icu::UnicodeString patternOf(std::string_view skeleton, const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::DateTimePatternGenerator> generator(
      icu::DateTimePatternGenerator::createInstance(locale, status));
  const auto fields = icu::UnicodeString::fromUTF8({skeleton.data(), static_cast<std::int32_t>(skeleton.size())});
  icu::UnicodeString pattern;
  // The widths that the skeleton asks for win over those that the locale prefers.
  if (U_SUCCESS(status)) pattern = generator->getBestPattern(fields, UDATPG_MATCH_ALL_FIELDS_LENGTH, status);
  return U_SUCCESS(status) ? pattern : icu::UnicodeString("y-MM-dd HH:mm:ss");
}

icu::Locale localeOf(const std::string& identifier) {
  icu::Locale locale = identifier.empty() ? icu::Locale::getDefault() : icu::Locale(identifier.c_str());
  return locale.isBogus() || locale.getLanguage()[0] == 0 ? icu::Locale("en_US_POSIX") : locale;
}

}  // namespace

struct SkeletonDateFormat::State {
  State(std::string_view skeleton, const icu::Locale& locale) : format(patternOf(skeleton, locale), locale, status) {}

  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format;
  mutable icu::UnicodeString buffer;
};

SkeletonDateFormat::SkeletonDateFormat(std::string_view skeleton, const std::string& localeIdentifier)
    : state_(std::make_unique<State>(skeleton, localeOf(localeIdentifier))) {}

SkeletonDateFormat::~SkeletonDateFormat() = default;

void SkeletonDateFormat::append(std::string& text, double secondsSince1970) const {
  state_->buffer.remove();
  state_->format.format(secondsSince1970 * 1000, state_->buffer);
  state_->buffer.toUTF8String(text);
}

}  // namespace Tessaly::inline v1::detail
