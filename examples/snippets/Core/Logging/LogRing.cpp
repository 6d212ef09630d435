// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogRing.hpp"

#include <string_view>

namespace Tessaly {

void showAll(const LogRing& ring, void (*show)(std::string_view)) {
  LogChunk chunk;
  LogCursor cursor = ring.begin();
  const LogCursor end = ring.end();
  while (ring.read(cursor, end, chunk)) {
    while (auto record = chunk.next()) show(record->message);
  }
}

void keepInRing(const LogRecord& record) {
  LogRing ring(64 * 1024);
  ring.append(record);
}

}  // namespace Tessaly
