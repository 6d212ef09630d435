// expected: cannot assign to variable 'number' with const-qualified type
// SPDX-License-Identifier: MIT
#include <vector>

#include "Tessaly/Core/Observation/Property.hpp"

void increment(Tessaly::Property<std::vector<int>>& numbers) {
#ifdef ALLOWED
  numbers.modify([](auto& all) {
    for (int& number : all) number = 1;
  });
#else
  for (auto& number : numbers) number = 1;
#endif
}
