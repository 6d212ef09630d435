// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"

namespace Tessaly {

struct Exporter {};
struct Document {
  void save() {}
};

void reportEmptyTable() {
  const auto logger = Logger::make("Export", Type<Exporter>());
  errorPublic(logger, "The table is empty");
}

void saveQuietly(const Logger& logger, Document& document) {
  catchError(logger, "Saving failed", [&] { document.save(); });
}

}  // namespace Tessaly
