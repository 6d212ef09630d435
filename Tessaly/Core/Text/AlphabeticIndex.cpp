// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/AlphabeticIndex.hpp"

#include <unicode/alphaindex.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Text/UTF16.hpp"
#include "Tessaly/Core/Text/detail/CollationLocale.hpp"

namespace Tessaly::inline v1 {

/// ICU's index, which no thread changes after its making.
class detail::IndexBuckets {
 public:
  explicit IndexBuckets(const Locale& locale) {
    icu::Locale known(collationIdentifier(locale).c_str());
    if (known.isBogus()) known = icu::Locale::getRoot();
    UErrorCode status = U_ZERO_ERROR;
    icu::AlphabeticIndex builder(known, status);
    if (U_SUCCESS(status)) buckets_.reset(builder.buildImmutableIndex(status));
    if (U_FAILURE(status)) throw std::runtime_error("ICU has no data for alphabetic indexes");
    for (std::int32_t bucket = 0; bucket < buckets_->getBucketCount(); ++bucket) {
      buckets_->getBucket(bucket)->getLabel().toUTF8String(labels.emplace_back());
    }
  }

  [[nodiscard]] std::size_t section(std::string_view text) const {
    const std::u16string units = Text::toUTF16(text);
    UErrorCode status = U_ZERO_ERROR;
    // Reads the units in place.
    const icu::UnicodeString name(false, units.data(), static_cast<std::int32_t>(units.size()));
    return static_cast<std::size_t>(buckets_->getBucketIndex(name, status));
  }

  std::vector<std::string> labels;

 private:
  std::unique_ptr<icu::AlphabeticIndex::ImmutableIndex> buckets_;
};

AlphabeticIndex::AlphabeticIndex(const Locale& locale)
    : buckets_(std::make_shared<const detail::IndexBuckets>(locale)) {}

const std::vector<std::string>& AlphabeticIndex::labels() const noexcept { return buckets_->labels; }

std::size_t AlphabeticIndex::section(std::string_view text) const { return buckets_->section(text); }

}  // namespace Tessaly::inline v1
