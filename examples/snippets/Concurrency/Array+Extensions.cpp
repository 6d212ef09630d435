// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Concurrency/Array+Extensions.hpp"

namespace Tessaly {

struct Person {
  std::string name;
};

void showArrayExtensions(std::vector<Person> guests, const int* buffer,
                         std::vector<NSKeyValueObservation> observations) {
  auto tags = Array::removeDuplicates(std::vector<std::string>{"a", "b", "a"});  // "a", "b"
  auto people = Array::removeDuplicates(guests, keyPath<&Person::name>);
  std::vector<int> numbers = Array::make(buffer, 3);
  Array::unsubscribe(observations);
}

}  // namespace Tessaly
