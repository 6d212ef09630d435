// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/URL.hpp"

#include <iostream>

namespace Tessaly {

void showURL() {
  URL folder = URL::fileURLWithPath("/tmp/notes", URL::DirectoryHint::isDirectory);
  URL file = folder.appendingPathComponent("a b.txt");
  std::cout << file << ' ' << file.path();  // file:///tmp/notes/a%20b.txt /tmp/notes/a b.txt
  std::optional<URL> site = URL::from("https://example.com:8080/?q=1#top");
}

}  // namespace Tessaly
