// SPDX-License-Identifier: MIT
#pragma once

namespace Tessaly::Benchmarks {

bool isOnlineByGLib();
bool isMeteredByGLib();
bool isOnlineByQt();
bool isMeteredByQt();

}  // namespace Tessaly::Benchmarks
