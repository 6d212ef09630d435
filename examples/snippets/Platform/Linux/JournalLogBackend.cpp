// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/JournalLogBackend.hpp"

#include "Tessaly/Core/Logging/ProcessLogStore.hpp"

namespace Tessaly {

void keepAndPassOn(ProcessLogStore& store, const LogRecord& record) {
  static auto& journal = *new JournalLogBackend(store.ring());
  store.append(record);
  journal.noteRecord(record.time);
}

}  // namespace Tessaly
