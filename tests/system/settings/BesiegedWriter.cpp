// SPDX-License-Identifier: MIT
// One writing process of the siege: BesiegedWriter <folder> <writer> <first number>
//
// It writes growing numbers, number n under <writer>.<n % 10>, and reports each call on standard output.
#include <fcntl.h>
#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "tests/system/settings/WriteReport.hpp"

namespace {

using namespace Tessaly;

std::int64_t now() {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

/// The nanoseconds that this thread has run, or was ready to run, so far.
std::int64_t readyTime() {
  static const int file = ::open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC);
  std::array<char, 128> text{};
  const ssize_t size = ::pread(file, text.data(), text.size(), 0);
  std::int64_t running = 0;
  std::int64_t waiting = 0;
  const char* const end = text.data() + std::max<ssize_t>(size, 0);
  const auto first = std::from_chars(text.data(), end, running);
  if (first.ptr != end) std::from_chars(first.ptr + 1, end, waiting);
  return running + waiting;
}

template <typename Call>
void report(Tests::WriteReport report, JournaledUserDefaults*& store, Call call) {
  const std::int64_t start = now();
  const std::int64_t ready = readyTime();
  call();
  const std::int64_t ready2 = readyTime();
  const std::int64_t taken = now() - start;
  report.waited = taken - (ready2 - ready);
  const auto status = store->status();
  report.unstored = status.unstoredKeys;
  for (const auto& incident : status.problems) {
    if (incident.effect == UserDefaultsEffect::mayBeLost) {
      report.lossTold = std::max(report.lossTold, incident.time.timeIntervalSinceReferenceDate());
    }
  }
  if (::write(1, &report, sizeof(report)) != sizeof(report)) std::_Exit(1);
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 4) return 2;
  const std::string folder = arguments[1];
  const std::string writer = arguments[2];
  std::shared_ptr<JournaledUserDefaults> store;
  JournaledUserDefaults* opened = nullptr;
  report({}, opened, [&] {
    store = JournaledUserDefaults::open({.folder = folder});
    opened = store.get();
  });
  for (std::int64_t number = std::strtoll(arguments[3], nullptr, 10);; ++number) {
    report({.number = number}, opened, [&] { store->set(number, writer + "." + std::to_string(number % 10)); });
    ::poll(nullptr, 0, 1);
  }
}
