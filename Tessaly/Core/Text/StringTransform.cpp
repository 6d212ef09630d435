// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/StringTransform.hpp"

#include <unicode/rep.h>
#include <unicode/translit.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Text/UTF16.hpp"
#include "Tessaly/Core/Text/detail/SearchTransform.hpp"

namespace Tessaly::inline v1 {
namespace {

/// A text for ICU's transforms with a gap at the place of the last change. A transform changes a text from its
/// beginning to its end, so each change moves few units. In `icu::UnicodeString` each change moves all units after it.
class GapText final : public icu::Replaceable {
 public:
  explicit GapText(std::u16string text)
      : units_(std::move(text)),
        gapBegin_(static_cast<std::int32_t>(units_.size())),
        gapEnd_(static_cast<std::int32_t>(units_.size())) {}

  /// The number of units that were read, plus the number of units that were moved to make room for changes.
  [[nodiscard]] std::uint64_t steps() const noexcept { return steps_; }

  [[nodiscard]] std::u16string taken() && {
    units_.erase(static_cast<std::size_t>(gapBegin_), static_cast<std::size_t>(gapEnd_ - gapBegin_));
    return std::move(units_);
  }

  void handleReplaceBetween(std::int32_t start, std::int32_t limit, const icu::UnicodeString& text) override {
    replace(start, limit, {text.getBuffer(), static_cast<std::size_t>(text.length())});
  }
  void extractBetween(std::int32_t start, std::int32_t limit, icu::UnicodeString& target) const override {
    target.remove();
    const std::int32_t beforeGap = std::clamp(gapBegin_, start, limit);
    target.append(units_.data(), start, beforeGap - start);
    target.append(units_.data(), beforeGap + gapEnd_ - gapBegin_, limit - beforeGap);
  }
  void copy(std::int32_t start, std::int32_t limit, std::int32_t destination) override {
    icu::UnicodeString text;
    extractBetween(start, limit, text);
    handleReplaceBetween(destination, destination, text);
  }

 protected:
  [[nodiscard]] std::int32_t getLength() const override {
    return static_cast<std::int32_t>(units_.size()) - (gapEnd_ - gapBegin_);
  }
  [[nodiscard]] char16_t getCharAt(std::int32_t offset) const override {
    return offset >= 0 && offset < getLength() ? unit(offset) : u'\uFFFF';
  }
  /// The scalar that covers an offset.
  [[nodiscard]] UChar32 getChar32At(std::int32_t offset) const override {
    if (offset < 0 || offset >= getLength()) return 0xFFFF;
    const char16_t at = unit(offset);
    if (U16_IS_LEAD(at) && offset + 1 < getLength() && U16_IS_TRAIL(unit(offset + 1))) {
      return U16_GET_SUPPLEMENTARY(at, unit(offset + 1));
    }
    if (U16_IS_TRAIL(at) && offset > 0 && U16_IS_LEAD(unit(offset - 1))) {
      return U16_GET_SUPPLEMENTARY(unit(offset - 1), at);
    }
    return at;
  }

 private:
  [[nodiscard]] char16_t unit(std::int32_t offset) const noexcept {
    return units_[static_cast<std::size_t>(offset < gapBegin_ ? offset : offset + gapEnd_ - gapBegin_)];
  }

  void replace(std::int32_t start, std::int32_t limit, std::u16string_view text) {
    if (start == limit && text.empty()) return;
    if (limit == getLength() && start > gapBegin_) {
      // ICU puts the parts of a longer replacement together at the end of the text. The gap stays at the cursor.
      units_.replace(static_cast<std::size_t>(start + gapEnd_ - gapBegin_), std::u16string::npos, text);
      return;
    }
    moveGap(start);
    gapEnd_ += limit - start;
    const auto size = static_cast<std::int32_t>(text.size());
    if (gapEnd_ - gapBegin_ < size) grow(size);
    std::ranges::copy(text, units_.begin() + gapBegin_);
    gapBegin_ += size;
  }
  void moveGap(std::int32_t offset) {
    const auto units = units_.begin();
    steps_ += static_cast<std::uint64_t>(std::abs(offset - gapBegin_));
    if (offset < gapBegin_) {
      std::copy_backward(units + offset, units + gapBegin_, units + gapEnd_);
    } else {
      std::copy(units + gapEnd_, units + gapEnd_ + (offset - gapBegin_), units + gapBegin_);
    }
    gapEnd_ += offset - gapBegin_;
    gapBegin_ = offset;
  }
  void grow(std::int32_t size) {
    const auto added = static_cast<std::size_t>(size) + units_.size() / 2 + 16;
    steps_ += units_.size();
    units_.insert(static_cast<std::size_t>(gapEnd_), added, u'\0');
    gapEnd_ += static_cast<std::int32_t>(added);
  }

  std::u16string units_;
  std::int32_t gapBegin_;
  std::int32_t gapEnd_;
  std::uint64_t steps_ = units_.size();
};

constinit std::atomic<std::uint64_t> transformSteps{0};

using TransliteratorPointer = std::unique_ptr<icu::Transliterator>;

/// The transliterators of one identifier. Threads must not share a transliterator, so the pool grows to the maximum
/// number of simultaneous uses.
class Pool {
 public:
  explicit Pool(std::string_view identifier)
      : identifier_(icu::UnicodeString::fromUTF8(
            icu::StringPiece(identifier.data(), static_cast<std::int32_t>(identifier.size())))) {}

  /// An idle transliterator, or else a new one. Null if ICU does not know the transform.
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

/// The pool of an identifier. Null if ICU does not know the transform.
Pool* poolOf(std::string_view identifier) {
  static auto& lock = *new UnfairLock;
  static auto& pools = *new std::map<std::string, std::unique_ptr<Pool>, std::less<>>;
  const UnfairLock::Guard guard(lock);
  if (const auto found = pools.find(identifier); found != pools.end()) return found->second.get();
  auto made = std::make_unique<Pool>(identifier);
  TransliteratorPointer first = made->take();
  if (first == nullptr) return nullptr;
  made->giveBack(std::move(first));
  return pools.emplace(std::string(identifier), std::move(made)).first->second.get();
}

std::optional<std::string> transformedBy(Pool& pool, std::string_view text) {
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max() / 2)) {
    throw std::length_error("A text is too long to be transformed");
  }
  TransliteratorPointer transliterator = pool.take();
  if (transliterator == nullptr) return std::nullopt;
  GapText units(Text::toUTF16(text));
  transliterator->transliterate(units);
  pool.giveBack(std::move(transliterator));
  transformSteps.fetch_add(units.steps(), std::memory_order_relaxed);
  return Text::fromUTF16(std::move(units).taken());
}

}  // namespace

std::optional<std::string> Text::transformed(std::string_view text, std::string_view identifier) {
  Pool* const pool = poolOf(identifier);
  return pool == nullptr ? std::nullopt : transformedBy(*pool, text);
}

namespace Text::detail {

std::optional<std::string> transformedForSearchByICU(std::string_view text) {
  static Pool* const pool = poolOf("Any-Latin; Latin-ASCII; Lower");
  return pool == nullptr ? std::nullopt : transformedBy(*pool, text);
}

std::uint64_t transformStepsForTesting() noexcept { return transformSteps.load(std::memory_order_relaxed); }

}  // namespace Text::detail

}  // namespace Tessaly::inline v1
