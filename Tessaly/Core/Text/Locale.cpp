// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/Locale.hpp"

#include <unicode/uloc.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <ostream>

#include "Tessaly/Core/Base/detail/PerThread.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<const Locale*> replaced = nullptr;

/// The text in the environment that names the locale, found in one pass.
std::string_view environmentLocale() noexcept {
  constexpr std::array<std::string_view, 3> names{"LC_ALL=", "LC_MESSAGES=", "LANG="};
  std::array<std::string_view, names.size()> values;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    if ((*entry)[0] != 'L') continue;
    const std::string_view text = *entry;
    for (std::size_t index = 0; index < names.size(); ++index) {
      if (values[index].empty() && text.starts_with(names[index])) values[index] = text.substr(names[index].size());
    }
  }
  for (const std::string_view value : values) {
    if (!value.empty()) return value;
  }
  return {};
}

struct EnvironmentLocale {
  std::string text;
  Locale locale{detail::identifierOfSystemLocale("")};
};

}  // namespace

namespace detail {

std::string identifierOfSystemLocale(std::string_view text) {
  const std::size_t at = text.find('@');
  const std::string_view modifier = at == std::string_view::npos ? "" : text.substr(at + 1);
  const std::string_view name = text.substr(0, std::min(at, text.find('.')));
  if (name.empty() || name == "C" || name == "POSIX") return "en_US_POSIX";
  std::string identifier(name);
  const std::size_t language = std::min(name.find('_'), name.size());
  if (modifier == "latin") identifier.insert(language, "_Latn");
  if (modifier == "cyrillic") identifier.insert(language, "_Cyrl");
  if (modifier == "devanagari") identifier.insert(language, "_Deva");
  if (modifier == "valencia") identifier += "_VALENCIA";
  return identifier;
}

const Locale& currentLocale() {
  if (const Locale* replacement = replaced.load(std::memory_order_acquire)) return *replacement;
  auto& known = PerThread<EnvironmentLocale>::current();
  if (const std::string_view text = environmentLocale(); text != known.text) {
    known.locale = Locale(identifierOfSystemLocale(text));
    known.text = text;
  }
  return known.locale;
}

}  // namespace detail

Locale Locale::current() { return detail::currentLocale(); }

Locale::Language Locale::language() const {
  std::array<char, ULOC_LANG_CAPACITY> code{};
  UErrorCode status = U_ZERO_ERROR;
  uloc_getLanguage(identifier_.c_str(), code.data(), code.size(), &status);
  if (U_FAILURE(status) || identifier_.empty() || code[0] == '\0') return Language(std::nullopt);
  return Language(LanguageCode(code.data()));
}

std::ostream& operator<<(std::ostream& stream, const Locale::LanguageCode& code) { return stream << code.identifier(); }
std::ostream& operator<<(std::ostream& stream, const Locale& locale) { return stream << locale.identifier(); }

Locale::Replacement::Replacement(const Locale& locale) noexcept
    : previous_(replaced.exchange(&locale, std::memory_order_acq_rel)) {}
Locale::Replacement::~Replacement() { replaced.store(previous_, std::memory_order_release); }

}  // namespace Tessaly::inline v1
