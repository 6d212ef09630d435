// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogSinks.hpp"

#include "Tessaly/Core/Logging/ProcessLogStore.hpp"

using namespace Tessaly;

void passOn(ProcessLogStore& store, const LogRecord& record) {
  static LogSinks& sinks = LogSinks::make(store.ring());
  store.append(record);
  sinks.write(record);
}
