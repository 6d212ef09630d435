// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/detail/RelativeDay.hpp"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/ures.h>

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

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

/// The result of `read` for the table at a path, in a locale or its nearest parent for which `read` succeeds. Empty if
/// `read` never succeeds.
template <typename Read>
std::u16string inherited(const std::string& locale, std::initializer_list<const char*> path, Read&& read) {
  UErrorCode status = U_ZERO_ERROR;
  std::string name = locale;
  // For a language without data, ICU uses its default locale.
  if (const Resource nearest(ures_open(nullptr, locale.c_str(), &status)); U_SUCCESS(status)) {
    const char* actual = ures_getLocaleByType(nearest.get(), ULOC_ACTUAL_LOCALE, &status);
    if (U_SUCCESS(status)) name = actual;
  }
  for (int depth = 0; depth < 8; ++depth) {
    status = U_ZERO_ERROR;
    Resource table(ures_openDirect(nullptr, name.empty() ? "root" : name.c_str(), &status));
    std::int32_t length = 0;
    const char16_t* parent = ures_getStringByKey(table.get(), "%%Parent", &length, &status);
    std::string next = U_SUCCESS(status)
                           ? Text::fromUTF16(std::u16string_view(parent, static_cast<std::size_t>(length)))
                           : name.substr(0, name.contains('_') ? name.rfind('_') : 0);
    for (const char* key : path) table = child(table, key);
    if (table) {
      status = U_ZERO_ERROR;
      const char16_t* text = read(table.get(), length, status);
      if (U_SUCCESS(status)) return {text, static_cast<std::size_t>(length)};
    }
    if (name.empty() || name == "root") break;
    name = std::move(next);
  }
  return {};
}

}  // namespace

std::array<std::string, 7> wordsForDays(const std::string& locale) {
  constexpr std::array<const char*, 7> keys{"-3", "-2", "-1", "0", "1", "2", "3"};
  std::array<std::string, keys.size()> words;
  for (std::size_t index = 0; index < keys.size(); ++index) {
    words[index] =
        Text::fromUTF16(inherited(locale, {"fields", "day", "relative"},
                                  [&](const UResourceBundle* days, std::int32_t& length, UErrorCode& status) {
                                    return ures_getStringByKey(days, keys[index], &length, &status);
                                  }));
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
  std::u16string glue = inherited(locale, {"calendar", "gregorian", "DateTimePatterns"},
                                  [&](const UResourceBundle* patterns, std::int32_t& length, UErrorCode& status) {
                                    return ures_getStringByIndex(patterns, firstGlue + style, &length, &status);
                                  });
  return glue.empty() ? u"{1} {0}" : glue;
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
