// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "Tessaly/Core/Logging/detail/WellFormed.hpp"

namespace Tessaly::inline v1::detail {
namespace {

TEST(WellFormed, ReplacesOneByteAtAnyPlaceOfATextOfAnyLength) {
  for (std::size_t length = 1; length < 40; ++length) {
    for (std::size_t place = 0; place < length; ++place) {
      std::string text(length, 'a');
      text[place] = '\xFF';
      std::string expected(length + 2, 'a');
      expected.replace(place, 3, "\uFFFD");
      EXPECT_EQ(expected, wellFormed(text));
    }
  }
}

TEST(WellFormed, KeepsOneCharacterAtAnyPlaceOfATextOfAnyLength) {
  for (std::size_t length = 0; length < 40; ++length) {
    for (std::size_t place = 0; place <= length; ++place) {
      const std::string text = std::string(length, 'a').insert(place, "é");
      EXPECT_EQ(text, wellFormed(text));
    }
  }
}

TEST(WellFormed, KeepsASCIIOfAnyLength) {
  for (std::size_t length = 0; length < 40; ++length)
    EXPECT_EQ(std::string(length, 'a'), wellFormed(std::string(length, 'a')));
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
