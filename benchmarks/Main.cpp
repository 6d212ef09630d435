// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <regex>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "Harness.hpp"

namespace {

using namespace Tessaly::Benchmarks;

constexpr std::string_view usage =
    "tessaly_bench [--filter=<regular expression>] [--repetitions=<count>] [--seconds=<per repetition>]\n"
    "              [--quantile=<0 to 1, 0.5 is the median>] [--json=<file>] [--markdown] [--list]\n";

struct Arguments {
  Options options;
  std::filesystem::path jsonFile = "build/bench/results.json";
  TableStyle style = TableStyle::text;
  enum class Mode { run, list } mode = Mode::run;
};

Arguments parsed(int count, char** values) {
  Arguments arguments;
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = values[i];
    const auto split = argument.find('=');
    const auto name = argument.substr(0, split);
    const std::string value(split == std::string_view::npos ? "" : argument.substr(split + 1));
    if (name == "--filter") {
      arguments.options.filter = value;
    } else if (name == "--repetitions") {
      arguments.options.repetitions = std::stoi(value);
    } else if (name == "--seconds") {
      arguments.options.secondsPerRepetition = std::stod(value);
    } else if (name == "--quantile") {
      arguments.options.quantile = std::stod(value);
    } else if (name == "--json") {
      arguments.jsonFile = value;
    } else if (argument == "--markdown") {
      arguments.style = TableStyle::markdown;
    } else if (argument == "--list") {
      arguments.mode = Arguments::Mode::list;
    } else {
      throw std::invalid_argument(fmt::format("Unknown argument {}\n{}", argument, usage));
    }
  }
  if (arguments.options.repetitions < 1) throw std::invalid_argument("At least one repetition is needed");
  if (!(arguments.options.quantile >= 0 && arguments.options.quantile <= 1)) {
    throw std::invalid_argument("The quantile is between 0 and 1");
  }
  return arguments;
}

/// A directory for the settings of the facilities, so that those of the user are neither read nor changed. It is
/// removed at the end of the process, after the store was closed.
void keepSettingsApart() {
  static std::string& path = *new std::string(std::filesystem::temp_directory_path() / "tessaly-bench-XXXXXX");
  if (::mkdtemp(path.data()) == nullptr) throw std::runtime_error("Could not make a temporary folder");
  ::setenv("XDG_CONFIG_HOME", path.c_str(), 1);
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  });
}

void run(const Arguments& arguments) {
  std::vector<Measurement> measurements;
  const std::regex filter(arguments.options.filter);
  for (const Row* row : declaredRows()) {
    const std::string name = row->facility() + "/" + row->operation();
    if (!std::regex_search(name, filter)) continue;
    if (arguments.mode == Arguments::Mode::list) {
      fmt::print("{}\n", name);
      continue;
    }
    fmt::print(stderr, "{}\n", name);
    measurements.push_back(measure(*row, arguments.options));
  }
  if (arguments.mode == Arguments::Mode::list) return;
  if (measurements.empty()) throw std::invalid_argument("No row matches the filter");

  fmt::print("{}", table(measurements, arguments.style));
  if (arguments.jsonFile.has_parent_path()) std::filesystem::create_directories(arguments.jsonFile.parent_path());
  std::ofstream file(arguments.jsonFile);
  file << json(measurements);
  if (!file.flush()) throw std::runtime_error("Could not write " + arguments.jsonFile.string());
}

}  // namespace

int main(int count, char** values) try {
  // Until a process has a second thread, glibc and libstdc++ skip the atomics of their locks and counts. No desktop
  // program has just one thread. So a second thread lives during all measurements.
  const std::jthread second([](const std::stop_token& stop) {
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any().wait(lock, stop, [] { return false; });
  });
  int benchmarkCount = 1;
  benchmark::Initialize(&benchmarkCount, values);
  const Arguments arguments = parsed(count, values);
  keepSettingsApart();
  run(arguments);
  return EXIT_SUCCESS;
} catch (const std::exception& error) {
  fmt::print(stderr, "{}\n", error.what());
  return EXIT_FAILURE;
}
