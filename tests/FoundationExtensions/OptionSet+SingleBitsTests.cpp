// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>

#include "Tessaly/FoundationExtensions/OptionSet+SingleBits.hpp"

namespace {

using namespace Tessaly;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

enum class Style : std::uint8_t { bold = 1, italic = 2, underlined = 4, last = 128 };

class Permissions {
 public:
  explicit Permissions(std::int64_t rawValue) : rawValue_(rawValue) {}
  [[nodiscard]] std::int64_t rawValue() const { return rawValue_; }
  friend bool operator==(const Permissions&, const Permissions&) = default;

 private:
  std::int64_t rawValue_;
};

TEST(SingleBits, AreOrderedFromTheLeastSignificantBit) {
  EXPECT_THAT(OptionSet::singleBits(Permissions(0b1010)), ElementsAre(Permissions(0b10), Permissions(0b1000)));
  EXPECT_THAT(OptionSet::singleBits(Style(0b101)), ElementsAre(Style::bold, Style::underlined));
}

TEST(SingleBits, EmptySetHasNone) {
  EXPECT_THAT(OptionSet::singleBits(Style(0)), IsEmpty());
  EXPECT_THAT(OptionSet::singleBits(Permissions(0)), IsEmpty());
}

TEST(SingleBits, IncludeTheSignBit) {
  constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
  EXPECT_THAT(OptionSet::singleBits(Style(0x81)), ElementsAre(Style::bold, Style::last));
  EXPECT_THAT(OptionSet::singleBits(Permissions(lowest)), ElementsAre(Permissions(lowest)));
  const auto all = OptionSet::singleBits(Permissions(-1));
  ASSERT_EQ(all.size(), 64u);
  for (std::size_t bit = 0; bit < all.size(); ++bit) {
    EXPECT_EQ(static_cast<std::uint64_t>(all[bit].rawValue()), std::uint64_t{1} << bit);
  }
}

}  // namespace
