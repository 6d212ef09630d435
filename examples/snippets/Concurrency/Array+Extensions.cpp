// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Concurrency/Array+Extensions.hpp"

namespace Tessaly {

struct Person {
  std::string name;
};

void showArrayExtensions(std::vector<Person> guests, const int* buffer) {
  auto tags = Array::removeDuplicates(std::vector<std::string>{"a", "b", "a"});  // "a", "b"
  auto people = Array::removeDuplicates(guests, &Person::name);
  std::vector<int> numbers = Array::make(buffer, 3);
}

}  // namespace Tessaly
