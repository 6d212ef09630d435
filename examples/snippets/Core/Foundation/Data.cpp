// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Data.hpp"

#include <iostream>

namespace Tessaly {

void showData() {
  Data greeting(std::string_view("Hi"));
  greeting.append({0x21});
  std::cout << greeting << ' ' << greeting.base64EncodedString();  // 3 bytes SGkh
}

}  // namespace Tessaly
