// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/NamedResultProvider.hpp"

#include <string>

namespace Tessaly {

void showNamedResultProvider() {
  struct Account : NamedResult {
    std::string name;
  };
  const NamedResultProvider account(Account{{}, "Ada"});
  std::string name = account.wrappedValue().name;
}

}  // namespace Tessaly
