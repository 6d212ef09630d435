// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "Tessaly/FoundationExtensions/UInt32+FourCharacterCode.hpp"

namespace {

using namespace Tessaly;
using namespace std::string_literals;

TEST(FourCharacterCode, HasItsBytesMostSignificantFirst) {
  EXPECT_EQ(UInt32::bytes(0x01020304u), (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
  EXPECT_EQ(UInt32::bytes(0xFFu), (std::array<std::uint8_t, 4>{0, 0, 0, 255}));
}

TEST(FourCharacterCode, CharactersAndStringUseOppositeOrders) {
  EXPECT_EQ(UInt32::characters(1094861636u), "ABCD");
  EXPECT_EQ(UInt32::string(1094861636u), "DCBA");
  EXPECT_EQ(UInt32::characters(0u), "\0\0\0\0"s);
  EXPECT_EQ(UInt32::string(0u), "\0\0\0\0"s);
}

TEST(FourCharacterCode, NonASCIIByteGivesNoCharacters) {
  EXPECT_EQ(UInt32::characters(0x80414243u), "no ascii");
  EXPECT_EQ(UInt32::characters(0x414243FFu), "no ascii");
  EXPECT_EQ(UInt32::characters(0x7F414243u),
            "\x7F"
            "ABC");
}

TEST(FourCharacterCode, IllFormedBytesGiveNoString) {
  EXPECT_EQ(UInt32::string(0x41A9C341u),
            "A\u00E9"
            "A");
  EXPECT_EQ(UInt32::string(0x80989FF0u), "\U0001F600");
  EXPECT_EQ(UInt32::string(0x414141FFu), std::nullopt);
  EXPECT_EQ(UInt32::string(0xC3414141u), std::nullopt);
}

struct Enormous {
  char bytes[std::size_t{1} << 32];
};

TEST(UInt32SizeOf, SizeIsThatOfTheType) {
  EXPECT_EQ(UInt32::sizeOf(1.5), 8u);
  EXPECT_EQ(UInt32::sizeOf<std::int16_t>(), 2u);
  EXPECT_EQ(UInt32::sizeOf(Type<std::array<int, 3>>()), 12u);
  static_assert(std::same_as<decltype(UInt32::sizeOf('a')), std::uint32_t>);
}

TEST(UInt32SizeOfDeathTest, ASizeThatDoesNotFitStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(UInt32::sizeOf<Enormous>()),
               "Tessaly/UInt32\\+FourCharacterCode:.*: Fatal error: The size does not fit in 32 bits");
}

template <typename T>
concept IsCode = requires(T code) { UInt32::string(code); };

TEST(FourCharacterCode, IsA32BitUnsignedNumber) {
  EXPECT_TRUE(IsCode<std::uint32_t>);
  EXPECT_FALSE(IsCode<std::int32_t>);
  EXPECT_FALSE(IsCode<std::uint64_t>);
}

}  // namespace
