// SPDX-License-Identifier: MIT
#include <cstdio>
#include <string>

#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Core/Base/Error.hpp"

// Throws an error of the library, catches it by its base class, and formats a text.
int main() {
  Tessaly::Mutex<std::string> text("untouched");
  try {
    text.withLock([](auto& value) {
      value = "a host caught ";
      throw Tessaly::CancellationError();
    });
  } catch (const Tessaly::Error& error) {
    text.withLock([&](auto& value) { value += error.what(); });
  }
  std::puts(text.withLock([](auto& value) { return std::exchange(value, ""); }).c_str());
}
