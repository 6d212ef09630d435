// SPDX-License-Identifier: MIT
#include "Times.hpp"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <ctime>

namespace TessalyTool {

std::string timeText(Tessaly::Date date) {
  constexpr double perSecond = 1000;
  const auto milliseconds = static_cast<std::int64_t>(std::floor(date.timeIntervalSince1970() * perSecond));
  const auto part = ((milliseconds % 1000) + 1000) % 1000;
  const std::time_t second = (milliseconds - part) / 1000;
  std::tm local{};
  ::localtime_r(&second, &local);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                     local.tm_hour, local.tm_min, local.tm_sec, part);
}

}  // namespace TessalyTool
