// SPDX-License-Identifier: MIT
#include <benchmark/benchmark.h>

#include <asio.hpp>
#include <asio/experimental/channel.hpp>
#include <asio/experimental/concurrent_channel.hpp>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "AsioPeers.hpp"

namespace Tessaly::Benchmarks::AsioPeers {
namespace {

using Channel = asio::experimental::channel<void(asio::error_code, std::int64_t)>;
using ConcurrentChannel = asio::experimental::concurrent_channel<void(asio::error_code, std::int64_t)>;

/// Sends. A refused send stops the program instead of being timed.
template <typename AnyChannel>
void send(AnyChannel& channel, std::int64_t value) {
  if (!channel.try_send(asio::error_code(), value)) std::abort();
}

asio::awaitable<void> fillAndEmpty(Channel& channel, int count, int depth) {
  std::int64_t total = 0;
  for (int i = 0; i < count; i += depth) {
    for (int j = 0; j < depth; ++j) send(channel, i + j);
    for (int j = 0; j < depth; ++j) total += co_await channel.async_receive(asio::use_awaitable);
  }
  benchmark::DoNotOptimize(total);
}

template <typename AnyChannel>
asio::awaitable<void> receive(AnyChannel& channel, int count) {
  std::int64_t total = 0;
  for (int i = 0; i < count; ++i) total += co_await channel.async_receive(asio::use_awaitable);
  benchmark::DoNotOptimize(total);
}

asio::awaitable<void> sendTakingTurns(asio::io_context& context, Channel& channel, int count) {
  for (int i = 0; i < count; ++i) {
    send(channel, i);
    co_await asio::post(context, asio::use_awaitable);
  }
}

struct SameThread {
  explicit SameThread(std::size_t buffer) : channel(context, buffer) {}

  asio::io_context context{1};
  Channel channel;
};

struct TwoThreads {
  explicit TwoThreads(std::size_t buffer) : channel(pool, buffer) {}

  asio::thread_pool pool{1};
  ConcurrentChannel channel;
};

struct Listeners {
  asio::io_context context{1};
  std::vector<std::unique_ptr<ConcurrentChannel>> channels;
};

}  // namespace

Batch sendThenReceive(int count, int depth) {
  return [=, fixture = std::make_shared<SameThread>(static_cast<std::size_t>(depth))] {
    asio::co_spawn(fixture->context, fillAndEmpty(fixture->channel, count, depth), asio::detached);
    fixture->context.run();
    fixture->context.restart();
  };
}

Batch sendToWaitingReceiver(int count) {
  return [=, fixture = std::make_shared<SameThread>(1)] {
    asio::co_spawn(fixture->context, receive(fixture->channel, count), asio::detached);
    asio::co_spawn(fixture->context, sendTakingTurns(fixture->context, fixture->channel, count), asio::detached);
    fixture->context.run();
    fixture->context.restart();
  };
}

Batch sendAcrossThreads(int count) {
  return [=, fixture = std::make_shared<TwoThreads>(static_cast<std::size_t>(count))] {
    auto received = asio::co_spawn(fixture->pool, receive(fixture->channel, count), asio::use_future);
    for (int i = 0; i < count; ++i) send(fixture->channel, i);
    received.get();
  };
}

SendingBatch broadcast(int count, int listeners) {
  auto all = std::make_shared<Listeners>();
  for (int i = 0; i < listeners; ++i) {
    all->channels.push_back(std::make_unique<ConcurrentChannel>(all->context, static_cast<std::size_t>(count)));
  }
  return {[=] {
            for (int i = 0; i < count; ++i) {
              for (auto& channel : all->channels) send(*channel, i);
            }
          },
          [=] {
            for (auto& channel : all->channels) asio::co_spawn(all->context, receive(*channel, count), asio::detached);
            all->context.run();
            all->context.restart();
          }};
}

}  // namespace Tessaly::Benchmarks::AsioPeers
