// SPDX-License-Identifier: MIT
// One writing process of the kill test: SettingsWriter <folder> <writer> <first number>
//
// It writes growing numbers without a pause, number n under <writer>.<n % 10>, and each one under a shared key. It
// reports each number on standard output.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "tests/system/settings/WriteReport.hpp"

int main(int count, char** arguments) {
  if (count < 4) return 2;
  const auto store = Tessaly::JournaledUserDefaults::open({.folder = arguments[1]});
  const std::string writer = arguments[2];
  std::int64_t number = std::strtoll(arguments[3], nullptr, 10);
  for (;; ++number) {
    // Every 64th write is a text larger than a page, so that a kill can truncate it.
    if (number % 64 == 0) {
      store->set(std::string(static_cast<std::size_t>(number % 20'000), static_cast<char>('a' + number % 26)),
                 writer + ".text");
    }
    store->set(number, writer + "." + std::to_string(number % 10));
    store->set(writer + std::to_string(number), "shared");
    const Tessaly::Tests::WriteReport report{.number = number};
    if (::write(1, &report, sizeof(report)) != sizeof(report)) return 1;
  }
}
