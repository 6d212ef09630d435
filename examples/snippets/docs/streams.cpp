// SPDX-License-Identifier: MIT
#include <memory>
#include <vector>

#include "Tessaly/Concurrency/AsyncSequence+Extensions.hpp"
#include "Tessaly/Concurrency/AsyncStreams.hpp"
#include "Tessaly/Concurrency/AutoCancelTask.hpp"
#include "Tessaly/Concurrency/ReducedReplayAsyncStream.hpp"

namespace Tessaly::StreamsPage {

struct Sales {
  Sales& operator+=(const Sales& other);
};
struct Shop {
  void onSale(AsyncStream<Sales>::Continuation continuation) const;
};
struct Document {};
void showTotal(const Sales& total);
void addToTotal(const Sales& sale);
void show(double temperature);
Async<void> draw(Document document);

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

class Preview {
 public:
  void show(Document document) {
    tasks_.clear();  // Cancels what was being drawn.
    AutoCancelTask<>([document] { return draw(document); }).store(tasks_);
  }

 private:
  std::vector<AutoCancelTask<>> tasks_;
};
// clang-format on

}  // namespace Tessaly::StreamsPage
