// SPDX-License-Identifier: MIT
#include "Session.hpp"

#include <chrono>

#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

using namespace Tessaly;

namespace {

/// A setting: its name, its type and its default value.
constexpr Default<int>::Key visitsKey{"visits", 0};

int addVisit() {
  Default<int>::modifyValue(visitsKey, [](int& visits) { ++visits; });
  return Default<int>::value(visitsKey);
}

int countPrimes(int first, int last) {
  int count = 0;
  for (int number = first; number < last; ++number) {
    bool isPrime = number > 1;
    for (int divisor = 2; isPrime && divisor * divisor <= number; ++divisor) isPrime = number % divisor != 0;
    count += isPrime ? 1 : 0;
  }
  return count;
}

}  // namespace

Session::Session(std::function<void(const std::string& text)> show)
    : show_(std::move(show)), logger_(Logger::make("Session", "Session")), visit_(addVisit()) {
  noticePublic(logger_, "Visit " + std::to_string(visit_));
  tasks_.add([this] { return search(); });
}

Async<void> Session::search() {
  const auto style = NumberFormatStyle();  // The user's language decides.
  int primes = 0;
  for (int first = 0, last = 20'000;; first = last, last += 20'000) {
    // The counting runs on the pool. The task comes back to the main thread with the result.
    primes += co_await Task<int>({.isolation = Isolation()}, [=] { return countPrimes(first, last); }).value();
    show_("Visit " + style.format(visit_) + ": " + style.format(primes) + " primes below " + style.format(last));
    co_await Task<>::sleep(std::chrono::milliseconds(200));
  }
}
