// expected: no viable overloaded '='
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/SettingsAndObservation/NamedResultProvider.hpp"
#include "Tessaly/SettingsAndObservation/PartialResultProvider.hpp"
#include "Tessaly/SettingsAndObservation/ResultProvider.hpp"

void assign(const Tessaly::NamedResultProvider<std::string>& named,
            const Tessaly::PartialResultProvider<std::string>& partial,
            const Tessaly::ResultProvider<std::string>& computed) {
#ifdef ALLOWED
  std::string text = named.wrappedValue();
  text = partial.wrappedValue();
  text = computed.wrappedValue();
#else
  named.wrappedValue() = "another";
  partial.wrappedValue() = "another";
  computed.wrappedValue() = "another";
#endif
}
