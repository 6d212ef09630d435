// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/OSSignposter.hpp"

namespace Tessaly {

struct Exporter {
  int write() { return 3; }
};

void markParsing(const OSSignposter& signposter) {
  OSSignpostIntervalState state = signposter.beginInterval("parse");
  signposter.endInterval("parse", state);
}

void makeIdentifier(const OSSignposter& signposter) {
  const OSSignpostID id = signposter.makeSignpostID();
  signposter.emitEvent("parsed", id);
}

void markWriting(Exporter& exporter) {
  const OSSignposter signposter("Export", Type<Exporter>());
  const int rows = signposter.withIntervalSignpost("write", [&] { return exporter.write(); });
}

}  // namespace Tessaly
