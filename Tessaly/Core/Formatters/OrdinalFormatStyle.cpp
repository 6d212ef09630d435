// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/OrdinalFormatStyle.hpp"

#include <unicode/locid.h>
#include <unicode/rbnf.h>

#include <array>
#include <limits>
#include <memory>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

/// The preparation for one locale. The texts of small ranks are kept.
class Engine {
 public:
  explicit Engine(const std::string& identifier) {
    icu::Locale locale(identifier.c_str());
    if (locale.isBogus()) locale = icu::Locale::getRoot();
    UErrorCode status = U_ZERO_ERROR;
    format_ = std::make_unique<icu::RuleBasedNumberFormat>(icu::URBNF_ORDINAL, locale, status);
    if (U_FAILURE(status)) format_.reset();
  }

  std::string string(std::int64_t rank) {
    if (rank < 0 || rank >= static_cast<std::int64_t>(known_.size())) return stringOfICU(rank);
    std::string& text = known_[static_cast<std::size_t>(rank)];
    if (text.empty()) text = stringOfICU(rank);
    return text;
  }

 private:
  [[nodiscard]] std::string stringOfICU(std::int64_t rank) const {
    if (!format_) return std::to_string(rank);
    icu::UnicodeString text;
    format_->format(rank, text);
    return detail::fromUTF16(text);
  }

  std::unique_ptr<icu::RuleBasedNumberFormat> format_;
  std::array<std::string, 256> known_;
};

struct Engines : detail::RecentlyUsed<std::string, Engine, 4> {};

}  // namespace

std::string OrdinalFormatStyle::format(std::int64_t rank) const {
  const Locale& locale = locale_ ? *locale_ : detail::currentLocale();
  // ICU has no ordinal for this number. With digits that follow rules, such as Roman ones, its search never ends.
  if (rank == std::numeric_limits<std::int64_t>::min()) return NumberFormatStyle().locale(locale).format(rank);
  return detail::PerThread<Engines>::current()
      .get(locale.identifier(), [](const std::string& identifier) { return std::make_unique<Engine>(identifier); })
      .string(rank);
}

}  // namespace Tessaly::inline v1
