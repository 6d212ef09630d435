// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/BlockingWork.hpp"

#include <string>

namespace Tessaly {

std::string readWholeFile(const std::string& path);

Async<std::string> snippet(std::string path) {
  std::string text = co_await runBlocking([path] { return readWholeFile(path); });
  co_return text;
}

}  // namespace Tessaly
