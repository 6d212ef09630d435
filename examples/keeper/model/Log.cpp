// SPDX-License-Identifier: MIT
#include "Log.hpp"

#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"

namespace keeper {

const Tessaly::Logger& log() {
  static const auto& log = *new Tessaly::Logger(Tessaly::Logger::make("files", "Keeper"));
  return log;
}

}  // namespace keeper
