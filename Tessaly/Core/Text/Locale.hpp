// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A language, and how its speakers in some country write numbers and dates, by its identifier: "fr", "pt_BR",
/// "zh-Hant-TW".
///
/// The nearest standard facility is `std::locale`, which names what happens to be generated on the machine; a `Locale`
/// is a value that may name anything. What the locale data does not know is formatted by the nearest parent that it
/// does know, in the end by the root, which belongs to no language.
///
/// Thread contract: thread-compatible.
///
///     Locale brazilian("pt_BR");
///     std::cout << brazilian.language().languageCode()->identifier();  // pt
class Locale {
 public:
  /// A language's code, "pt".
  ///
  ///     Locale::LanguageCode code("pt");
  ///     std::cout << code;  // pt
  class LanguageCode {
   public:
    explicit LanguageCode(std::string_view identifier) : identifier_(identifier) {}
    [[nodiscard]] const std::string& identifier() const noexcept { return identifier_; }
    friend bool operator==(const LanguageCode&, const LanguageCode&) noexcept = default;

   private:
    std::string identifier_;
  };

  /// What a locale says of its language.
  ///
  ///     Locale::Language language = Locale("root").language();
  ///     bool known = language.languageCode().has_value();  // false
  class Language {
   public:
    explicit Language(std::optional<LanguageCode> code) : code_(std::move(code)) {}
    /// Absent in a locale without a language.
    [[nodiscard]] const std::optional<LanguageCode>& languageCode() const noexcept { return code_; }
    friend bool operator==(const Language&, const Language&) noexcept = default;

   private:
    std::optional<LanguageCode> code_;
  };

  /// Never fails: an identifier that means nothing is formatted as the root is.
  explicit Locale(std::string_view identifier) : identifier_(identifier) {}

  /// The locale of the environment: the first of `LC_ALL`, `LC_MESSAGES` and `LANG` that is not empty, without its
  /// encoding ("de_DE.UTF-8" is "de_DE"). "C", "POSIX" and an environment without any give "en_US_POSIX". The
  /// environment is looked at in every call, like `std::getenv` does it: changing it meanwhile on another thread is a
  /// race.
  ///
  /// Thread contract: thread-safe.
  [[nodiscard]] TESSALY_EXPORT static Locale current();

  [[nodiscard]] const std::string& identifier() const noexcept { return identifier_; }
  [[nodiscard]] TESSALY_EXPORT Language language() const;

  friend bool operator==(const Locale&, const Locale&) noexcept = default;

  /// Replaces the current locale for a scope, in all threads. Replacements end in the reverse order of their
  /// beginnings, when no thread formats any more.
  ///
  /// Thread contract: thread-safe.
  ///
  ///     Locale german("de");
  ///     Locale::Replacement replacement(german);
  ///     // Locale::current() is "de" until `replacement` ends.
  class TESSALY_EXPORT Replacement {
   public:
    explicit Replacement(const Locale& locale) noexcept;
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement();

   private:
    const Locale* previous_;
  };

 private:
  std::string identifier_;
};

/// Writes the identifier.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const Locale& locale);
/// Writes the identifier.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const Locale::LanguageCode& code);

namespace detail {

/// `Locale::current()` without a copy. Valid until the next call on this thread.
[[nodiscard]] TESSALY_EXPORT const Locale& currentLocale();

}  // namespace detail

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::Locale> {
  std::size_t operator()(const Tessaly::Locale& locale) const noexcept {
    return std::hash<std::string>()(locale.identifier());
  }
};
