// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <boost/circular_buffer.hpp>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <queue>
#include <string>
#include <utility>
#include <vector>

#include "Harness.hpp"
#include "Tessaly/Collections/ChunkSequence.hpp"
#include "Tessaly/Collections/FIFOStack.hpp"
#include "Tessaly/Collections/RingArray.hpp"

namespace Tessaly::Benchmarks {
namespace {

constexpr int capacity = 1'000;

struct Page {
  std::array<std::int64_t, 512> words;
};

template <typename Element>
Element made(int number) {
  if constexpr (std::same_as<Element, std::string>) {
    return std::string(32, static_cast<char>('a' + number % 26));
  } else if constexpr (std::same_as<Element, Page>) {
    return Page{{number}};
  } else {
    return number;
  }
}

/// Appends to a full ring, and reads each dropped element.
template <typename Element>
auto appendOurs(int count) {
  RingArray<Element> ring(capacity);
  ring.fill(made<Element>(0));
  return [ring = std::move(ring), element = made<Element>(1), count]() mutable {
    for (int i = 0; i < count; ++i) {
      auto dropped = ring.append(element);
      benchmark::DoNotOptimize(dropped);
    }
  };
}
template <typename Element>
auto appendBoost(int count) {
  boost::circular_buffer<Element> ring(capacity, made<Element>(0));
  return [ring = std::move(ring), element = made<Element>(1), count]() mutable {
    for (int i = 0; i < count; ++i) {
      std::optional<Element> dropped;
      if (ring.full()) dropped.emplace(std::move(ring.front()));
      ring.push_back(element);
      benchmark::DoNotOptimize(dropped);
    }
  };
}
template <typename Element>
auto appendDeque(int count) {
  std::deque<Element> ring(capacity, made<Element>(0));
  return [ring = std::move(ring), element = made<Element>(1), count]() mutable {
    for (int i = 0; i < count; ++i) {
      std::optional<Element> dropped;
      if (ring.size() == capacity) {
        dropped.emplace(std::move(ring.front()));
        ring.pop_front();
      }
      ring.push_back(element);
      benchmark::DoNotOptimize(dropped);
    }
  };
}

std::int64_t weight(std::int64_t element) { return element; }
std::int64_t weight(const std::string& element) { return static_cast<std::int64_t>(element.size()) + element[31]; }
std::int64_t weight(const Page& element) {
  std::int64_t sum = 0;
  for (const std::int64_t word : element.words) sum += word;
  return sum;
}

template <typename Elements>
auto iterate(Elements elements) {
  return [elements = std::move(elements)] {
    std::int64_t sum = 0;
    for (const auto& element : elements) sum += weight(element);
    return sum;
  };
}
/// A ring whose elements cross the end of its memory.
template <typename Element>
RingArray<Element> wrappedRing() {
  RingArray<Element> ring(capacity);
  for (int i = 0; i < capacity + capacity / 2; ++i) ring.append(made<Element>(i));
  return ring;
}
template <typename Element>
auto iterateRuns() {
  return [ring = wrappedRing<Element>()] {
    std::int64_t sum = 0;
    for (const auto run : ring.contiguousRuns()) {
      for (const auto& element : run) sum += weight(element);
    }
    return sum;
  };
}
template <typename Element>
auto iterateBoost() {
  boost::circular_buffer<Element> ring(capacity);
  for (int i = 0; i < capacity + capacity / 2; ++i) ring.push_back(made<Element>(i));
  return iterate(std::move(ring));
}

template <typename Element>
void ringRows(Facility& facility, const std::string& name, double bar) {
  constexpr int count = sizeof(Element) > 1'000 ? 1'000 : 10'000;
  auto& row = facility.row("append to a full ring, " + name, count)
                  .inProcessorTime()
                  .ours([] { return appendOurs<Element>(count); })
                  .peer("boost::circular_buffer, keeping the evicted", [] { return appendBoost<Element>(count); })
                  .peer("std::deque", [] { return appendDeque<Element>(count); });
  if (bar > 0) row.bar(bar);
  const auto vector = [] { return iterate(std::vector<Element>(capacity, made<Element>(1))); };
  facility.row("range-for over a wrapped ring, an element, " + name, capacity)
      .inProcessorTime()
      .ours([] { return iterate(wrappedRing<Element>()); })
      .peer("std::vector", vector)
      .peer("boost::circular_buffer", [] { return iterateBoost<Element>(); })
      .peer("std::deque", [] { return iterate(std::deque<Element>(capacity, made<Element>(1))); });
  facility.row("contiguousRuns of a wrapped ring, an element, " + name, capacity)
      .inProcessorTime()
      .ours([] { return iterateRuns<Element>(); })
      .peer("std::vector", vector);
}

const Facility ring("RingArray", [](Facility& facility) {
  ringRows<std::int64_t>(facility, "8 bytes", 3);
  ringRows<std::string>(facility, "text of 32", 0);
  ringRows<Page>(facility, "4 KiB", 0);
});

/// The elements are used, as by a user, and not stored. The ends of both queues may stay in registers.
template <typename Element>
auto throughOurs(int depth) {
  return [depth, queue = FIFOStack<Element>(), element = made<Element>(1)]() mutable {
    for (int i = 0; i < depth; ++i) queue.enqueue(element);
    std::int64_t sum = 0;
    while (const auto next = queue.dequeue()) sum += weight(*next);
    return sum;
  };
}
template <typename Element>
auto throughStandard(int depth) {
  return [depth, queue = std::queue<Element>(), element = made<Element>(1)]() mutable {
    for (int i = 0; i < depth; ++i) queue.push(element);
    std::int64_t sum = 0;
    while (!queue.empty()) {
      const std::optional<Element> next(std::move(queue.front()));
      queue.pop();
      sum += weight(*next);
    }
    return sum;
  };
}

const Facility queue("FIFOStack", [](Facility& facility) {
  for (const int depth : {16, 1'000}) {
    auto& row = facility.row("enqueue then dequeue, 8 bytes, " + std::to_string(depth) + " at a time", depth)
                    .inProcessorTime()
                    .ours([=] { return throughOurs<std::int64_t>(depth); })
                    .peer("std::queue", [=] { return throughStandard<std::int64_t>(depth); });
    row.bar(1.8);
  }
  facility.row("enqueue then dequeue, text of 32, 1000 at a time", 1'000)
      .inProcessorTime()
      .ours([] { return throughOurs<std::string>(1'000); })
      .peer("std::queue", [] { return throughStandard<std::string>(1'000); });
  facility.row("enqueue then dequeue, 4 KiB, 100 at a time", 100)
      .inProcessorTime()
      .ours([] { return throughOurs<Page>(100); })
      .peer("std::queue", [] { return throughStandard<Page>(100); });
});

const Facility chunks("ChunkSequence", [](Facility& facility) {
  constexpr int count = 10'000;
  const std::vector<std::int64_t> numbers(count, 3);
  for (const std::int64_t size : {16, 100}) {
    facility.row("sum in chunks of " + std::to_string(size) + ", an element", count)
        .inProcessorTime()
        .ours([=] {
          std::int64_t weighted = 0;
          for (auto chunk : chunked(numbers, size)) {
            std::int64_t sum = 0;
            for (const std::int64_t number : chunk) sum += number;
            weighted ^= sum;
          }
          return weighted;
        })
        .peer("a loop written by hand", [=] {
          std::int64_t weighted = 0;
          for (std::size_t first = 0; first < numbers.size(); first += static_cast<std::size_t>(size)) {
            const std::size_t end = std::min(first + static_cast<std::size_t>(size), numbers.size());
            std::int64_t sum = 0;
            for (std::size_t i = first; i < end; ++i) sum += numbers[i];
            weighted ^= sum;
          }
          return weighted;
        });
  }
});

}  // namespace
}  // namespace Tessaly::Benchmarks
