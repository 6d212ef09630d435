// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

// The durations, the time points and the clocks of <chrono>. <chrono> also has calendars and the texts of times, which
// need the streams. Without them, Task.hpp compiles in three quarters of the time. A host that uses a calendar includes
// <chrono>.
#if __has_include(<bits/chrono.h>)
#include <bits/chrono.h>
#else
#include <chrono>
#endif
