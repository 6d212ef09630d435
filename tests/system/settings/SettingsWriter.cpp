// SPDX-License-Identifier: MIT
// One writing process of the kill test: SettingsWriter <folder> <writer> <first number> [<number of writes>]
//
// It writes growing numbers under keys of its own and under shared keys. After each write it reports the number on
// standard output as 8 bytes. Its own keys are <writer>.0 to <writer>.9; number n goes to key n % 10.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

int main(int count, char** arguments) {
  if (count < 4) return 2;
  const auto store = Tessaly::JournaledUserDefaults::open({.folder = arguments[1]});
  const std::string writer = arguments[2];
  std::int64_t number = std::strtoll(arguments[3], nullptr, 10);
  const std::int64_t end = count > 4 ? number + std::strtoll(arguments[4], nullptr, 10) : INT64_MAX;
  for (; number < end; ++number) {
    // Every 64th write is a text larger than a page, so that a kill can truncate it.
    if (number % 64 == 0) {
      store->set(std::string(static_cast<std::size_t>(number % 20'000), static_cast<char>('a' + number % 26)),
                 writer + ".text");
    }
    store->set(number, writer + "." + std::to_string(number % 10));
    store->set(writer + std::to_string(number), "shared");
    if (::write(1, &number, sizeof(number)) != sizeof(number)) return 1;
  }
  return 0;
}
