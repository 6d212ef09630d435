// SPDX-License-Identifier: MIT
#include "TextPeers.hpp"

#include <unicode/translit.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>
#include <utf8proc.h>

#include <memory>
#include <stdexcept>

namespace Tessaly::Benchmarks {
namespace {

void check(UErrorCode status) {
  if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
}

struct CloseIterator {
  void operator()(UBreakIterator* iterator) const { ubrk_close(iterator); }
};

/// Walks over a text. The function receives the bounds of each character and returns whether to continue.
template <typename Function>
auto walkByICU(const std::string& text, Function function) {
  UErrorCode status = U_ZERO_ERROR;
  const std::shared_ptr<UBreakIterator> iterator(ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status), CloseIterator());
  check(status);
  return [text, iterator, function]() -> std::int64_t {
    UErrorCode walking = U_ZERO_ERROR;
    UText source = UTEXT_INITIALIZER;
    utext_openUTF8(&source, text.data(), static_cast<std::int64_t>(text.size()), &walking);
    ubrk_setUText(iterator.get(), &source, &walking);
    std::int64_t count = 0;
    std::int32_t begin = 0;
    for (std::int32_t end = 0; (end = ubrk_next(iterator.get())) != UBRK_DONE; begin = end) {
      if (function(text, begin, end, count)) break;
    }
    utext_close(&source);
    return count;
  };
}

template <typename Function>
auto walkByUtf8proc(const std::string& text, Function function) {
  return [text, function]() -> std::int64_t {
    std::int64_t count = 0;
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    const auto size = static_cast<utf8proc_ssize_t>(text.size());
    utf8proc_int32_t last = 0;
    utf8proc_int32_t state = 0;
    utf8proc_ssize_t begin = 0;
    for (utf8proc_ssize_t at = 0; at < size;) {
      utf8proc_int32_t scalar = 0;
      const utf8proc_ssize_t length = utf8proc_iterate(bytes + at, size - at, &scalar);
      if (at > 0 && utf8proc_grapheme_break_stateful(last, scalar, &state)) {
        if (function(text, begin, at, count)) return count;
        begin = at;
      }
      last = scalar;
      at += length;
    }
    if (size > 0) function(text, begin, size, count);
    return count;
  };
}

const auto countCharacter = [](const std::string&, std::int64_t, std::int64_t, std::int64_t& count) {
  ++count;
  return false;
};

const auto findEmoji = [](const std::string& text, std::int64_t begin, std::int64_t end, std::int64_t& count) {
  std::int64_t next = begin;
  UChar32 scalar = 0;
  U8_NEXT(text.data(), next, end, scalar);
  if (u_hasBinaryProperty(scalar, UCHAR_EMOJI) == 0 || (scalar < 0x238D && next == end)) return false;
  count = 1;
  return true;
};

}  // namespace

TextPeers::Counter TextPeers::charactersByICU(const std::string& text) { return walkByICU(text, countCharacter); }
TextPeers::Counter TextPeers::charactersByUtf8proc(const std::string& text) {
  return walkByUtf8proc(text, countCharacter);
}
TextPeers::Counter TextPeers::emojiByICU(const std::string& text) { return walkByICU(text, findEmoji); }
TextPeers::Counter TextPeers::emojiByUtf8proc(const std::string& text) { return walkByUtf8proc(text, findEmoji); }

std::function<std::string(const std::string&)> TextPeers::transformedByICU() {
  UErrorCode status = U_ZERO_ERROR;
  const std::shared_ptr<icu::Transliterator> transliterator(
      icu::Transliterator::createInstance("Any-Latin; Latin-ASCII; Lower", UTRANS_FORWARD, status));
  check(status);
  return [transliterator](const std::string& text) {
    auto units = icu::UnicodeString::fromUTF8(text);
    transliterator->transliterate(units);
    std::string result;
    units.toUTF8String(result);
    return result;
  };
}

}  // namespace Tessaly::Benchmarks
