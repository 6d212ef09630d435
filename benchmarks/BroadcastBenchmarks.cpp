// SPDX-License-Identifier: MIT
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Harness.hpp"
#include "Tessaly/Concurrency/AsyncSequence+Extensions.hpp"
#include "Tessaly/Concurrency/AsyncStreams.hpp"
#include "Tessaly/Concurrency/ReducedReplayAsyncStream.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "peers/AsioPeers.hpp"
#include "peers/SignalPeers.hpp"
#include "peers/StandardPeers.hpp"

namespace Tessaly::Benchmarks {
namespace {

using Stream = AsyncStream<std::int64_t>;

/// Receives a number of waiting elements from each listener.
void receive(const std::vector<Stream>& listeners, int count) {
  syncWait([&]() -> Async<void> {
    std::int64_t total = 0;
    for (const Stream& listener : listeners) {
      auto iterator = listener.makeAsyncIterator();
      for (int i = 0; i < count; ++i) total += (co_await iterator.next()).value();
    }
    benchmark::DoNotOptimize(total);
  });
}

/// Sends to listeners that take the values out between the calls.
class Broadcast {
 public:
  Broadcast(int count, int listeners) : count_(count) {
    for (int i = 0; i < listeners; ++i) listeners_.push_back(broadcaster_->stream());
  }
  void operator()() const {
    for (int i = 0; i < count_; ++i) broadcaster_->send(i);
  }
  void betweenCalls() const { receive(listeners_, count_); }

 private:
  int count_;
  std::shared_ptr<AsyncStreams<std::int64_t>> broadcaster_ = AsyncStreams<std::int64_t>::make();
  std::vector<Stream> listeners_;
};

/// Yields a number of elements, which are folded and delivered, and receives them with each of the subscribers.
class Replay {
 public:
  Replay(int count, int listeners)
      : count_(count),
        stream_(
            BufferingPolicy::unbounded(), 0, [](std::int64_t& sum, std::int64_t element) { sum += element; },
            [this](const Stream::Continuation& continuation) { continuation_ = continuation; }) {
    listeners_.push_back(stream_.newStream());
    continuation_->yield(0);
    receive(listeners_, 1);  // The first subscriber has joined, so the others are late and begin with the sum.
    std::vector<Stream> late;
    for (int i = 1; i < listeners; ++i) late.push_back(stream_.newStream());
    receive(late, 1);
    listeners_.insert(listeners_.end(), late.begin(), late.end());
  }
  void operator()() const {
    for (int i = 0; i < count_; ++i) continuation_->yield(i);
    receive(listeners_, count_);
  }

 private:
  int count_;
  std::optional<Stream::Continuation> continuation_;
  ReducedReplayAsyncStream<std::int64_t> stream_;
  std::vector<Stream> listeners_;
};

/// The time covers sending and receiving.
Batch sendThenReceive(const SendingBatch& batch) {
  return [batch] {
    batch.send();
    batch.receiveAll();
  };
}

/// Consumes the elements of a complete stream. They are yielded between the calls.
template <typename Consume>
class Consumption {
 public:
  Consumption(int count, Consume consume) : count_(count), consume_(consume) { betweenCalls(); }
  void operator()() const {
    syncWait([&] { return consume_(ends_.stream, count_); });
  }
  void betweenCalls() const {
    for (int i = 0; i < count_; ++i) ends_.continuation.yield(i);
  }

 private:
  int count_;
  Consume consume_;
  Stream::StreamAndContinuation ends_ = Stream::makeStream();
};

/// Takes the elements of a stream operator one by one.
template <typename Operate>
auto through(Operate operate) {
  return [operate](const Stream& stream, int count) -> Async<void> {
    auto sequence = operate(stream);
    auto iterator = sequence.makeAsyncIterator();
    for (int i = 0; i < count; ++i) {
      auto element = co_await iterator.next();
      benchmark::DoNotOptimize(element);
    }
  };
}

const Facility broadcast("Broadcast", [](Facility& facility) {
  for (const int listeners : {1, 8, 1'000}) {
    const int count = 8'192 / listeners + 8;
    auto& row = facility.row("send to " + std::to_string(listeners) + " listeners", count)
                    .inProcessorTime()
                    .ours([=] { return Broadcast(count, listeners); })
                    .peer("mutex and std::deque each", [=] { return StandardPeers::broadcast(count, listeners); })
                    .peer("boost::signals2 into deques", [=] { return SignalPeers::boostSignals(count, listeners); })
                    .peer("Qt signal into deques", [=] { return SignalPeers::qtSignals(count, listeners); })
                    .peer("asio concurrent_channel each", [=] { return AsioPeers::broadcast(count, listeners); });
    if (listeners == 8) row.bar(200);
  }
});

const Facility replay("Replay", [](Facility& facility) {
  for (const int listeners : {1, 8, 1'000}) {
    const int count = 4'096 / listeners + 8;
    facility.row("fold, deliver to and receive by " + std::to_string(listeners) + " listeners", count)
        .ours([=] { return std::function<void()>([all = std::make_shared<Replay>(count, listeners)] { (*all)(); }); })
        .peer("asio concurrent_channel each, no fold",
              [=] { return sendThenReceive(AsioPeers::broadcast(count, listeners)); })
        .peer("boost::signals2 into deques, no fold",
              [=] { return sendThenReceive(SignalPeers::boostSignals(count, listeners)); })
        .peer("Qt signal into deques, no fold",
              [=] { return sendThenReceive(SignalPeers::qtSignals(count, listeners)); });
  }
});

const Facility operators("Stream operators", [](Facility& facility) {
  constexpr int count = 16'384;
  const auto row = [&](const char* name, auto consume) {
    const auto plain = through([](const Stream& stream) { return stream; });
    facility.row(std::string(name) + ", an element", count)
        .inProcessorTime()
        .ours([=] { return Consumption(count, consume); })
        .peer("the stream itself", [=] { return Consumption(count, plain); });
  };
  row("firstIdentified", through([](const Stream& stream) { return firstIdentified(stream); }));
  row("handleElement", through([](const Stream& stream) {
        return handleElement(stream, [](std::int64_t element) { benchmark::DoNotOptimize(element); });
      }));
  row("discarded", through([](const Stream& stream) { return discarded(stream); }));
  row("eraseToAnyAsyncSequence", through([](const Stream& stream) { return eraseToAnyAsyncSequence(stream); }));
  row("collect", [](const Stream& stream, int limit) { return collect(stream, limit); });
});

}  // namespace
}  // namespace Tessaly::Benchmarks
