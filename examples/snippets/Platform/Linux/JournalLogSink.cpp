// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/JournalLogSink.hpp"

#include "Tessaly/Core/Logging/ProcessLogStore.hpp"

namespace Tessaly {

void keepAndPassOn(ProcessLogStore& store, const LogRecord& record) {
  static auto& journal = *new JournalLogSink(store.ring());
  store.append(record);
  journal.write(record);
}

}  // namespace Tessaly
