// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/OSLogStore.hpp"

#include "Tessaly/Core/Logging/LogBackend.hpp"

namespace Tessaly::inline v1 {

LogStoreUnavailableError::~LogStoreUnavailableError() = default;

std::string LogStoreUnavailableError::description() const { return "The log backend keeps no records"; }

OSLogStore OSLogStore::currentProcess() {
  const ProcessLogStore* store = LogBackend::current().store();
  if (store == nullptr) throw LogStoreUnavailableError();
  return OSLogStore(store);
}

}  // namespace Tessaly::inline v1
