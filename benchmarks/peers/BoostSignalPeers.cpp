// SPDX-License-Identifier: MIT
#include <boost/signals2/signal.hpp>
#include <memory>

#include "SignalListeners.hpp"
#include "SignalPeers.hpp"

namespace Tessaly::Benchmarks::SignalPeers {
namespace {

struct Broadcast {
  explicit Broadcast(int count) : listeners(static_cast<std::size_t>(count)) {
    for (SignalListener& listener : listeners) {
      signal.connect([&listener](std::int64_t value) { listener.receive(value); });
    }
  }

  std::vector<SignalListener> listeners;
  boost::signals2::signal<void(std::int64_t)> signal;
};

}  // namespace

SendingBatch boostSignals(int count, int listeners) {
  const auto all = std::make_shared<Broadcast>(listeners);
  return {[=] {
            for (int i = 0; i < count; ++i) all->signal(i);
          },
          [=] { receiveAll(all->listeners); }};
}

}  // namespace Tessaly::Benchmarks::SignalPeers
