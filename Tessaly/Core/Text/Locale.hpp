// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A language and the forms of numbers and dates in a country. An identifier names both: "fr", "pt_BR", "zh-Hant-TW".
///
/// The nearest standard facility is `std::locale`, which knows only locales that were generated on the machine. A
/// `Locale` may have any identifier. Formatters treat an unknown locale like its nearest known parent. The last parent
/// is the root, which belongs to no language. Before the root, some formatters try ICU's default locale.
///
/// Thread contract: thread-compatible.
///
///     Locale brazilian("pt_BR");
///     std::cout << brazilian.language().languageCode()->identifier();  // pt
class Locale {
 public:
  /// The code of a language, such as "pt".
  ///
  ///     Locale::LanguageCode code("pt");
  ///     std::cout << code;  // pt
  class LanguageCode {
   public:
    explicit LanguageCode(std::string_view identifier) : identifier_(identifier) {}
    [[nodiscard]] const std::string& identifier() const noexcept TESSALY_LIFETIMEBOUND { return identifier_; }
    friend bool operator==(const LanguageCode&, const LanguageCode&) noexcept = default;

   private:
    std::string identifier_;
  };

  /// The language of a locale.
  ///
  ///     Locale::Language language = Locale("root").language();
  ///     bool known = language.languageCode().has_value();  // false
  class Language {
   public:
    explicit Language(std::optional<LanguageCode> code) : code_(std::move(code)) {}
    /// The code of the language. Absent in a locale without a language.
    [[nodiscard]] const std::optional<LanguageCode>& languageCode() const noexcept TESSALY_LIFETIMEBOUND {
      return code_;
    }
    friend bool operator==(const Language&, const Language&) noexcept = default;

   private:
    std::optional<LanguageCode> code_;
  };

  /// The locale with this identifier. Never fails. Formatters treat an unknown locale like its nearest known parent, or
  /// else like ICU's default locale or the root.
  explicit Locale(std::string_view identifier) : identifier_(identifier) {}

  /// The locale of the environment: the first of `LC_ALL`, `LC_MESSAGES` and `LANG` that is not empty, without its
  /// encoding ("de_DE.UTF-8" becomes "de_DE"). A modifier becomes a script or a variant ("sr_RS@latin" becomes
  /// "sr_Latn_RS"), or is dropped. If the value is "C" or "POSIX", or if none of the three has a value, the result is
  /// "en_US_POSIX". While a `Replacement` exists, the result is the locale of the `Replacement` instead. Otherwise
  /// every call reads the environment, as `std::getenv` does.
  ///
  /// Thread contract: thread-safe, but no thread may change the environment during the call.
  [[nodiscard]] TESSALY_EXPORT static Locale current();

  [[nodiscard]] const std::string& identifier() const noexcept TESSALY_LIFETIMEBOUND { return identifier_; }
  [[nodiscard]] TESSALY_EXPORT Language language() const;

  friend bool operator==(const Locale&, const Locale&) noexcept = default;

  /// Replaces the current locale for a scope, in all threads. The locale must outlive the replacement. Replacements
  /// must end in the reverse order of their construction. While a replacement ends, no thread may format or call
  /// `Locale::current()`.
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

/// Like `Locale::current()`, but returns a reference instead of a copy. The reference is valid until the next call of
/// this function on this thread, or until a `Replacement` ends. `Locale::current()` and the formatters call this
/// function, too.
[[nodiscard]] TESSALY_EXPORT const Locale& currentLocale();

/// The `Locale` identifier for a POSIX locale name. The name has the form
/// `language[_territory][.encoding][@modifier]`.
[[nodiscard]] TESSALY_EXPORT std::string identifierOfSystemLocale(std::string_view name);

}  // namespace detail

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::Locale> {
  std::size_t operator()(const Tessaly::Locale& locale) const noexcept {
    return std::hash<std::string>()(locale.identifier());
  }
};
