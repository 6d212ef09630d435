// SPDX-License-Identifier: MIT
// TaskStress [--seed number] [--rounds number] [--seconds number] [--drivers number] [--patience seconds]
//            [--executor pool|threads|seeded]
//
// Without a seed the program takes one from the time of day. The seed of a round that failed, with --rounds 1, makes
// the same graph again; under the seeded scheduler it makes the same schedule, too.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "tests/stress/TaskStress.hpp"

namespace {

using Tessaly::Tests::StressSettings;

[[noreturn]] void refuse(const std::string& argument) {
  std::fprintf(stderr, "TaskStress: %s is not understood; the first lines of its source list the arguments\n",
               argument.c_str());
  std::exit(2);
}

std::uint64_t numberOf(const std::string& text) {
  char* end = nullptr;
  const std::uint64_t number = std::strtoull(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0') refuse(text);
  return number;
}

StressSettings::Executor executorOf(const std::string& name) {
  if (name == "pool") return StressSettings::Executor::pool;
  if (name == "threads") return StressSettings::Executor::threads;
  if (name == "seeded") return StressSettings::Executor::seeded;
  refuse(name);
}

StressSettings settingsOf(int count, char** arguments) {
  StressSettings settings;
  settings.seed = static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
  for (int i = 1; i < count; i += 2) {
    const std::string name = arguments[i];
    const std::string value = i + 1 < count ? arguments[i + 1] : "";
    if (name == "--seed") {
      settings.seed = numberOf(value);
    } else if (name == "--rounds") {
      settings.rounds = numberOf(value);
    } else if (name == "--seconds") {
      settings.time = std::chrono::seconds(numberOf(value));
    } else if (name == "--drivers") {
      settings.drivers = static_cast<unsigned>(numberOf(value));
    } else if (name == "--patience") {
      settings.patience = std::chrono::seconds(numberOf(value));
    } else if (name == "--executor") {
      settings.executor = executorOf(value);
    } else {
      refuse(name);
    }
  }
  return settings;
}

}  // namespace

int main(int count, char** arguments) {
  const StressSettings settings = settingsOf(count, arguments);
  std::printf("seed %llu\n", static_cast<unsigned long long>(settings.seed));
  std::fflush(stdout);
  const auto result = Tessaly::Tests::stressTasks(settings);
  std::printf("%llu graphs, %llu steps, no violation\n", static_cast<unsigned long long>(result.rounds),
              static_cast<unsigned long long>(result.steps));
}
