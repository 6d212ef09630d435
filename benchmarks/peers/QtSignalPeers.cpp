// SPDX-License-Identifier: MIT
#include <memory>

#include "QtSender.hpp"
#include "SignalListeners.hpp"
#include "SignalPeers.hpp"

namespace Tessaly::Benchmarks::SignalPeers {
namespace {

struct Broadcast {
  explicit Broadcast(int count) : listeners(static_cast<std::size_t>(count)) {
    for (SignalListener& listener : listeners) {
      QObject::connect(&sender, &QtSender::sent, [&listener](std::int64_t value) { listener.receive(value); });
    }
  }

  std::vector<SignalListener> listeners;
  QtSender sender;
};

}  // namespace

SendingBatch qtSignals(int count, int listeners) {
  const auto all = std::make_shared<Broadcast>(listeners);
  return {[=] {
            for (int i = 0; i < count; ++i) Q_EMIT all->sender.sent(i);
          },
          [=] { receiveAll(all->listeners); }};
}

}  // namespace Tessaly::Benchmarks::SignalPeers
