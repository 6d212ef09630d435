// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Logging/Logger.hpp"

namespace keeper {

/// The log of this application. Names of files are private in it, as every text is that no format calls public.
[[nodiscard]] const Tessaly::Logger& log();

}  // namespace keeper
