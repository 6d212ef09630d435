// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"

#include <cassert>
#include <memory>

namespace Tessaly {

struct Document {};

void expectOneRecord(void (*save)(Document&), Document& document) {
  const auto backend = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(backend);
  save(document);
  assert(backend->records().size() == 1);
}

}  // namespace Tessaly
