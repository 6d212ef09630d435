// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Text/detail/RelativeDay.hpp"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/uchar.h>
#include <unicode/ures.h>

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

#include "Tessaly/Platform/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1::detail {
namespace {

/// Closes a resource at the end of its scope.
struct ResourceCloser {
  void operator()(UResourceBundle* resource) const noexcept { ures_close(resource); }
};
using Resource = std::unique_ptr<UResourceBundle, ResourceCloser>;

Resource child(const Resource& parent, const char* key) {
  UErrorCode status = U_ZERO_ERROR;
  Resource found(parent ? ures_getByKey(parent.get(), key, nullptr, &status) : nullptr);
  return U_SUCCESS(status) ? std::move(found) : Resource();
}

}  // namespace

std::array<std::string, 5> wordsForDays(const std::string& locale) {
  constexpr std::array<UDateDirection, 5> directions{UDAT_DIRECTION_LAST_2, UDAT_DIRECTION_LAST, UDAT_DIRECTION_THIS,
                                                     UDAT_DIRECTION_NEXT, UDAT_DIRECTION_NEXT_2};
  UErrorCode status = U_ZERO_ERROR;
  const icu::RelativeDateTimeFormatter formatter(icu::Locale(locale.c_str()), status);
  std::array<std::string, 5> words;
  for (std::size_t index = 0; index < directions.size(); ++index) {
    icu::UnicodeString word;
    UErrorCode wordStatus = status;
    formatter.format(directions[index], UDAT_ABSOLUTE_DAY, word, wordStatus);
    if (U_SUCCESS(wordStatus)) words[index] = fromUTF16(word);
  }
  return words;
}

bool capitalisesWordsForDays(const std::string& locale, WordPlace place) {
  UErrorCode status = U_ZERO_ERROR;
  const Resource bundle(ures_open(nullptr, locale.c_str(), &status));
  const Resource transforms = child(child(bundle, "contextTransforms"), "relative");
  if (!transforms) return false;
  std::int32_t count = 0;
  const std::int32_t* choices = ures_getIntVector(transforms.get(), &count, &status);
  const auto index = static_cast<std::int32_t>(place);
  return U_SUCCESS(status) && count > index && choices[index] != 0;
}

std::u16string glueOfDateAndTime(const std::string& locale, int style) {
  constexpr std::int32_t firstGlue = 9;
  std::string name = locale;
  for (int depth = 0; depth < 8; ++depth) {
    UErrorCode status = U_ZERO_ERROR;
    const Resource bundle(ures_openDirect(nullptr, name.empty() ? "root" : name.c_str(), &status));
    if (U_SUCCESS(status)) {
      if (const Resource patterns = child(child(child(bundle, "calendar"), "gregorian"), "DateTimePatterns")) {
        std::int32_t length = 0;
        const char16_t* glue = ures_getStringByIndex(patterns.get(), firstGlue + style, &length, &status);
        if (U_SUCCESS(status)) return {glue, static_cast<std::size_t>(length)};
        status = U_ZERO_ERROR;
      }
      if (const char* actual = ures_getLocaleByType(bundle.get(), ULOC_ACTUAL_LOCALE, &status); U_SUCCESS(status)) {
        name = actual;
      }
      std::int32_t length = 0;
      status = U_ZERO_ERROR;
      const char16_t* parent = ures_getStringByKey(bundle.get(), "%%Parent", &length, &status);
      if (U_SUCCESS(status)) {
        name = Text::fromUTF16(std::u16string_view(parent, static_cast<std::size_t>(length)));
        continue;
      }
    }
    if (name.empty() || name == "root") break;
    const std::size_t cut = name.rfind('_');
    name.resize(cut == std::string::npos ? 0 : cut);
  }
  return u"{1} {0}";
}

void capitalise(std::span<std::string> texts, const std::string& locale) {
  const icu::Locale place(locale.c_str());
  std::unique_ptr<icu::BreakIterator> sentences;
  for (std::string& text : texts) {
    icu::UnicodeString units = icu::UnicodeString::fromUTF8(text);
    if (units.isEmpty() || !u_islower(units.char32At(0))) continue;
    UErrorCode status = U_ZERO_ERROR;
    if (!sentences) sentences.reset(icu::BreakIterator::createSentenceInstance(place, status));
    if (!sentences) return;
    units.toTitle(sentences.get(), place, U_TITLECASE_NO_LOWERCASE | U_TITLECASE_NO_BREAK_ADJUSTMENT);
    text = fromUTF16(units);
  }
}

}  // namespace Tessaly::inline v1::detail
