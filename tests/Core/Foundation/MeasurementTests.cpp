// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Tessaly/Core/Foundation/Measurement.hpp"

namespace Tessaly {
namespace {

TEST(Measurement, IsConvertedByTheUnitsCoefficients) {
  const Measurement<UnitInformationStorage> size(2.5e9, UnitInformationStorage::bytes);
  EXPECT_EQ(size.converted(UnitInformationStorage::gigabytes).value(), 2.5);
  EXPECT_EQ(size.converted(UnitInformationStorage::gigabytes).unit().symbol(), "GB");
  EXPECT_EQ(size.converted(UnitInformationStorage::bytes).value(), 2.5e9);
}

TEST(Measurement, IsEqualToTheSameAmountInAnotherUnit) {
  const Measurement<UnitInformationStorage> size(2, UnitInformationStorage::megabytes);
  EXPECT_EQ(size, Measurement(2000.0, UnitInformationStorage::kilobytes));
  EXPECT_FALSE(size == Measurement(2.0, UnitInformationStorage::kilobytes));
}

}  // namespace
}  // namespace Tessaly
