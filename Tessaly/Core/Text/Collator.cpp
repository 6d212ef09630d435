// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/Collator.hpp"

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/stringpiece.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Tessaly/Core/Text/UTF16.hpp"
#include "Tessaly/Core/Text/detail/CollationLocale.hpp"

namespace Tessaly::inline v1 {
namespace {

using Strength = Collator::Strength;

icu::Collator::ECollationStrength strengthOfICU(Strength strength) {
  switch (strength) {
    case Strength::primary:
      return icu::Collator::PRIMARY;
    case Strength::secondary:
      return icu::Collator::SECONDARY;
    case Strength::tertiary:
      return icu::Collator::TERTIARY;
  }
  return icu::Collator::TERTIARY;
}

icu::StringPiece piece(std::string_view text) {
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw std::length_error("A text of 2 GiB or more cannot be compared");
  }
  return {text.data(), static_cast<std::int32_t>(text.size())};
}

}  // namespace

/// ICU's collator, which no thread changes after its making.
class detail::CollationRules {
 public:
  CollationRules(const Locale& locale, Collator::Options options) {
    icu::Locale known(collationIdentifier(locale).c_str());
    if (known.isBogus()) known = icu::Locale::getRoot();
    UErrorCode status = U_ZERO_ERROR;
    collator_.reset(icu::Collator::createInstance(known, status));
    if (U_FAILURE(status)) throw std::runtime_error("ICU has no data for collation");
    collator_->setStrength(strengthOfICU(options.strength));
    collator_->setAttribute(UCOL_NUMERIC_COLLATION, options.numeric ? UCOL_ON : UCOL_OFF, status);
    // Text in other forms than NFC, such as the names of files from other systems, counts as its NFC form.
    collator_->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
  }

  [[nodiscard]] const icu::Collator& collator() const noexcept { return *collator_; }

 private:
  std::unique_ptr<icu::Collator> collator_;
};

Collator::Collator(const Locale& locale) : Collator(locale, Options()) {}
Collator::Collator(const Locale& locale, Options options)
    : rules_(std::make_shared<const detail::CollationRules>(locale, options)) {}

std::weak_ordering Collator::compare(std::string_view left, std::string_view right) const {
  UErrorCode status = U_ZERO_ERROR;
  return rules_->collator().compareUTF8(piece(left), piece(right), status) <=> 0;
}

std::string Collator::sortKey(std::string_view text) const {
  const std::u16string units = Text::toUTF16(text);
  constexpr std::size_t maximum = std::numeric_limits<std::int32_t>::max();  // ICU counts in 32 bits.
  std::string key(std::min(units.size() * 3 + 16, maximum), '\0');
  for (;;) {
    // The result counts a final zero, which is not part of the key. It is 0 if ICU cannot count the key.
    const std::int32_t needed = rules_->collator().getSortKey(units.data(), static_cast<std::int32_t>(units.size()),
                                                              reinterpret_cast<std::uint8_t*>(key.data()),
                                                              static_cast<std::int32_t>(key.size()));
    if (needed <= 0) throw std::length_error("The sort key of a text exceeds 2 GiB");
    const bool fits = static_cast<std::size_t>(needed) <= key.size();
    key.resize(static_cast<std::size_t>(fits ? needed - 1 : needed));
    if (fits) return key;
  }
}

}  // namespace Tessaly::inline v1
