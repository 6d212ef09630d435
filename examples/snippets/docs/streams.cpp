// SPDX-License-Identifier: MIT
#include <memory>

#include "Tessaly/Concurrency/AsyncSequence+Extensions.hpp"
#include "Tessaly/Concurrency/AsyncStreams.hpp"
#include "Tessaly/Concurrency/ReducedReplayAsyncStream.hpp"

namespace Tessaly::StreamsPage {

struct Sales {
  Sales& operator+=(const Sales& other);
};
struct Shop {
  void onSale(AsyncStream<Sales>::Continuation continuation) const;
};
void showTotal(const Sales& total);
void addToTotal(const Sales& sale);
void show(double temperature);

// clang-format off
ReducedReplayAsyncStream<Sales> salesOf(Shop shop) {
  return ReducedReplayAsyncStream<Sales>(
      BufferingPolicy::unbounded(), Sales(), [](Sales& sum, const Sales& sale) { sum += sale; },
      [shop](auto continuation) { shop.onSale(continuation); });
}

Async<void> follow(ReducedReplayAsyncStream<Sales> sales) {
  auto iterator = firstIdentified(sales).makeAsyncIterator();
  while (auto sale = co_await iterator.next()) {
    sale->first ? showTotal(sale->second) : addToTotal(sale->second);
  }
}

Async<void> showFirstTemperatures(std::shared_ptr<AsyncStreams<double>> temperatures) {
  for (double temperature : co_await collect(temperatures->stream(), 3)) show(temperature);
}
// clang-format on

}  // namespace Tessaly::StreamsPage
