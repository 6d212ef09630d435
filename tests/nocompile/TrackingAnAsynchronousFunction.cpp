// expected: the function must not suspend: its reads are tracked until it returns
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"

void track(Tessaly::Property<int>& volume) {
#ifdef ALLOWED
  Tessaly::withObservationTracking([&] { return volume.value(); }, [] {});
#else
  Tessaly::withObservationTracking([&]() -> Tessaly::Async<int> { co_return volume.value(); }, [] {});
#endif
}
