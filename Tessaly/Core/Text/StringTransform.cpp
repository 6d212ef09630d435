// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/StringTransform.hpp"

#include <unicode/translit.h>
#include <unicode/unistr.h>

#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Text/detail/SearchTransform.hpp"

namespace Tessaly::inline v1 {
namespace {

using TransliteratorPointer = std::unique_ptr<icu::Transliterator>;

/// The transliterators of one identifier. Threads must not share one of ICU's, so the pool grows to the maximum of
/// simultaneous uses.
class Pool {
 public:
  explicit Pool(std::string_view identifier)
      : identifier_(icu::UnicodeString::fromUTF8(
            icu::StringPiece(identifier.data(), static_cast<std::int32_t>(identifier.size())))) {}

  /// Null if there is no such transform.
  TransliteratorPointer take() {
    {
      const UnfairLock::Guard guard(lock_);
      if (!idle_.empty()) {
        TransliteratorPointer last = std::move(idle_.back());
        idle_.pop_back();
        return last;
      }
    }
    UErrorCode status = U_ZERO_ERROR;
    TransliteratorPointer made(icu::Transliterator::createInstance(identifier_, UTRANS_FORWARD, status));
    return U_SUCCESS(status) ? std::move(made) : nullptr;
  }
  void giveBack(TransliteratorPointer transliterator) {
    const UnfairLock::Guard guard(lock_);
    idle_.push_back(std::move(transliterator));
  }

 private:
  const icu::UnicodeString identifier_;
  UnfairLock lock_;
  std::vector<TransliteratorPointer> idle_ TESSALY_GUARDED_BY(lock_);
};

Pool& poolOf(std::string_view identifier) {
  static auto& lock = *new UnfairLock;
  static auto& pools = *new std::map<std::string, std::unique_ptr<Pool>, std::less<>>;
  const UnfairLock::Guard guard(lock);
  auto found = pools.find(identifier);
  if (found == pools.end()) {
    found = pools.emplace(std::string(identifier), std::make_unique<Pool>(identifier)).first;
  }
  return *found->second;
}

std::optional<std::string> transformedBy(Pool& pool, std::string_view text) {
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max() / 2)) {
    throw std::length_error("A text is too long to be transformed");
  }
  TransliteratorPointer transliterator = pool.take();
  if (transliterator == nullptr) return std::nullopt;
  auto units = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
  transliterator->transliterate(units);
  pool.giveBack(std::move(transliterator));
  std::string result;
  units.toUTF8String(result);
  return result;
}

}  // namespace

std::optional<std::string> Text::transformed(std::string_view text, std::string_view identifier) {
  return transformedBy(poolOf(identifier), text);
}

std::optional<std::string> Text::detail::transformedForSearchByICU(std::string_view text) {
  static Pool& pool = poolOf("Any-Latin; Latin-ASCII; Lower");
  return transformedBy(pool, text);
}

}  // namespace Tessaly::inline v1
