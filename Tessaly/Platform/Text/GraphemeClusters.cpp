// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Text/GraphemeClusters.hpp"

#include <pthread.h>
#include <unicode/ubrk.h>
#include <unicode/utext.h>

#include <algorithm>
#include <optional>

#include "Tessaly/Platform/Base/FatalError.hpp"
#include "Tessaly/Platform/Text/UTF8.hpp"

namespace Tessaly::inline v1::Text {
namespace {

// ICU counts positions in 32 bits.
constexpr std::size_t longestWindow = std::size_t{1} << 30;

/// One break iterator for a thread, and the text that it walks.
class BreakIterator {
 public:
  /// This thread's own. Made at its first call, closed when the thread ends.
  static BreakIterator& current() noexcept {
    static constinit thread_local BreakIterator* cached = nullptr;
    if (cached == nullptr) [[unlikely]] {
      // Values of a key are destroyed after the thread's C++ objects, and again if a late user has made a new one.
      static const pthread_key_t closer = makeKey([](void* iterator) {
        delete static_cast<BreakIterator*>(iterator);
        cached = nullptr;
      });
      cached = new BreakIterator;
      ::pthread_setspecific(closer, cached);
    }
    return *cached;
  }

  ~BreakIterator() {
    ubrk_close(iterator_);
    utext_close(&text_);
  }
  BreakIterator(const BreakIterator&) = delete;
  BreakIterator& operator=(const BreakIterator&) = delete;

  void setText(std::string_view text) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    utext_openUTF8(&text_, text.data(), static_cast<std::int64_t>(text.size()), &status);
    ubrk_setUText(iterator_, &text_, &status);
    stopOnFailure(status, __LINE__);
  }
  /// The next boundary, or nothing at the end.
  std::optional<std::size_t> next() noexcept { return position(ubrk_next(iterator_)); }
  /// The last boundary before the end of the text.
  std::optional<std::size_t> beforeLast() noexcept {
    ubrk_last(iterator_);
    return position(ubrk_previous(iterator_));
  }

 private:
  static pthread_key_t makeKey(void (*destructor)(void*)) noexcept {
    pthread_key_t key{};
    if (::pthread_key_create(&key, destructor) != 0) {
      fatalError("The process has used up its thread-specific keys", "Tessaly/GraphemeClusters", __LINE__);
    }
    return key;
  }
  BreakIterator() noexcept {
    UErrorCode status = U_ZERO_ERROR;
    iterator_ = ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status);
    stopOnFailure(status, __LINE__);
  }
  static std::optional<std::size_t> position(std::int32_t boundary) noexcept {
    if (boundary == UBRK_DONE) return std::nullopt;
    return static_cast<std::size_t>(boundary);
  }
  static void stopOnFailure(UErrorCode status, unsigned line) noexcept {
    if (U_FAILURE(status)) fatalError("ICU's rules of characters cannot be used", "Tessaly/GraphemeClusters", line);
  }

  UBreakIterator* iterator_ = nullptr;
  UText text_ = UTEXT_INITIALIZER;
};

/// Whether the scalar, met right before or right after another such one, is never joined with it, CR LF excepted.
constexpr bool isSimple(char32_t scalar) noexcept {
  return scalar < 0x300 || (scalar >= 0x370 && scalar <= 0x482) || (scalar >= 0x3041 && scalar <= 0x3096) ||
         (scalar >= 0x30A1 && scalar <= 0x30FA) || (scalar >= 0x4E00 && scalar <= 0x9FFF) ||
         (scalar >= 0xAC00 && scalar <= 0xD7A3);
}

/// The offset of the last scalar of a text that is not empty. A scalar is at most four bytes long.
std::optional<std::size_t> lastScalarOffset(std::string_view text) noexcept {
  for (std::size_t length = 1; length <= std::min<std::size_t>(4, text.size()); ++length) {
    const std::size_t offset = text.size() - length;
    const DecodedScalar decoded = decodeScalar(text, offset);
    if (decoded.isWellFormed && decoded.length == length) return offset;
  }
  return std::nullopt;
}

/// `text` cut to at most one window, not inside a scalar.
std::string_view firstWindow(std::string_view text) noexcept {
  if (text.size() <= longestWindow) return text;
  std::size_t end = longestWindow;
  while (end > longestWindow - 3 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

}  // namespace

void GraphemeClusters::Iterator::fill() noexcept {
  next_ = 0;
  count_ = 0;
  if (offset_ == text_.size()) return;
  const auto scalarAt = [this](std::size_t offset) {
    return offset < text_.size() ? decodeScalar(text_, offset) : DecodedScalar();
  };
  std::size_t offset = offset_;
  DecodedScalar scalar = scalarAt(offset);
  while (count_ < lengths_.size() && offset < text_.size() && isSimple(scalar.scalar)) {
    std::size_t end = offset + scalar.length;
    DecodedScalar following = scalarAt(end);
    if (!isSimple(following.scalar)) break;
    if (scalar.scalar == U'\r' && following.scalar == U'\n') following = scalarAt(++end);
    lengths_[count_++] = static_cast<std::uint32_t>(end - offset);
    offset = end;
    scalar = following;
  }
  if (count_ > 0) return;

  BreakIterator& rules = BreakIterator::current();
  rules.setText(firstWindow(text_.substr(offset_)));
  std::size_t previous = 0;
  while (count_ < lengths_.size()) {
    const auto boundary = rules.next();
    if (!boundary) break;
    lengths_[count_++] = static_cast<std::uint32_t>(*boundary - previous);
    previous = *boundary;
  }
}

std::string_view lastGraphemeCluster(std::string_view text) noexcept {
  if (text.empty()) return text;
  if (const auto last = lastScalarOffset(text); last && isSimple(decodeScalar(text, *last).scalar)) {
    if (*last == 0) return text;
    const auto before = lastScalarOffset(text.substr(0, *last));
    if (before && isSimple(decodeScalar(text, *before).scalar)) {
      const bool isLineEnd = text[*before] == '\r' && text[*last] == '\n';
      return text.substr(isLineEnd ? *before : *last);
    }
  }
  std::size_t windowBegin = text.size() > longestWindow ? text.size() - longestWindow : 0;
  while (windowBegin > 0 && windowBegin < text.size() &&
         (static_cast<unsigned char>(text[windowBegin]) & 0xC0) == 0x80) {
    ++windowBegin;
  }
  const std::string_view window = text.substr(windowBegin);
  BreakIterator& rules = BreakIterator::current();
  rules.setText(window);
  return window.substr(rules.beforeLast().value_or(0));
}

std::int64_t graphemeClusterCount(std::string_view text) noexcept {
  return std::ranges::distance(GraphemeClusters(text));
}

}  // namespace Tessaly::inline v1::Text
