// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Tessaly/Core/Base/detail/Hexadecimal.hpp"

namespace Tessaly {
namespace {

using namespace detail;

TEST(Hexadecimal, EveryByteIsTwoDigitsThatParseBack) {
  for (int byte = 0; byte < 256; ++byte) {
    for (const std::string_view digits : {upperHexadecimalDigits, lowerHexadecimalDigits}) {
      std::string text;
      appendHexadecimal(text, static_cast<std::uint8_t>(byte), digits);
      ASSERT_EQ(text.size(), 2U);
      EXPECT_EQ(hexadecimalValue(text[0]) * 16 + hexadecimalValue(text[1]), byte);
    }
  }
  std::string text;
  appendHexadecimal(text, 0xaf, lowerHexadecimalDigits);
  appendHexadecimal(text, 0x0E, upperHexadecimalDigits);
  EXPECT_EQ(text, "af0E");
}

TEST(Hexadecimal, OtherCharactersHaveNoValue) {
  int values = 0;
  for (int c = -128; c < 128; ++c) values += hexadecimalValue(static_cast<char>(c)) >= 0 ? 1 : 0;
  EXPECT_EQ(values, 22);
  EXPECT_EQ(hexadecimalValue('g'), -1);
  EXPECT_EQ(hexadecimalValue('\xB0'), -1);
}

}  // namespace
}  // namespace Tessaly
