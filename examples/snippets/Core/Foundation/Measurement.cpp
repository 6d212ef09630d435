// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Measurement.hpp"

#include <iostream>

namespace Tessaly {

void show(std::string_view text);

void showUnit() {
  show(UnitInformationStorage::kilobytes.symbol());  // kB
}

void showMeasurement() {
  const Measurement<UnitInformationStorage> size(2.5e9, UnitInformationStorage::bytes);
  std::cout << size.converted(UnitInformationStorage::gigabytes).value() << '\n';  // 2.5
}

}  // namespace Tessaly
