// SPDX-License-Identifier: MIT
#include <QObject>
#include <QProperty>
#include <boost/signals2.hpp>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Harness.hpp"
#include "Tessaly/Core/Observation/NSKeyValueObservation.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/SettingsAndObservation/KeyPathsMonitor.hpp"
#include "Tessaly/SettingsAndObservation/MonitorableObject.hpp"
#include "peers/GObjectCounter.hpp"
#include "peers/QtCounter.hpp"

namespace Tessaly::Benchmarks {
namespace {

// Every side sets a number to a new value, so that sides which compare announce it, too. Every observer only counts its
// calls.

struct Numbers : MonitorableObject {
  Property<std::int64_t> value = 0;
  Property<std::int64_t> other = 0;
  [[nodiscard]] std::int64_t sum() const { return value + other; }
};

struct QtNumbers {
  QProperty<std::int64_t> value;
  QProperty<std::int64_t> other;
  QProperty<std::int64_t> sum;
};

/// A number with a signal, as a user of boost::signals2 writes it.
struct BoostNumber {
  void setValue(std::int64_t next) {
    if (next == value) return;
    value = next;
    changed(next);
  }
  std::int64_t value = 0;
  boost::signals2::signal<void(std::int64_t)> changed;
};

/// Sets a `Property` with a number of observers by key path.
auto observedBy(int observers) {
  return [observers] {
    auto numbers = std::make_shared<Numbers>();
    auto calls = std::make_shared<std::int64_t>(0);
    auto observations = std::make_shared<std::vector<NSKeyValueObservation>>();
    for (int i = 0; i < observers; ++i) {
      observations->push_back(observe(numbers, keyPath<&Numbers::value>, NSKeyValueObservingOptions::none,
                                      [calls = calls.get()](const auto&) { ++*calls; }));
    }
    return [numbers, calls, observations, next = std::int64_t(0)]() mutable {
      numbers->value = ++next;
      return *calls;
    };
  };
}

auto qPropertyObservedBy(int observers) {
  return [observers] {
    auto numbers = std::make_shared<QtNumbers>();
    auto calls = std::make_shared<std::int64_t>(0);
    const auto handler = [calls = calls.get()] { ++*calls; };
    auto handlers = std::make_shared<std::deque<QPropertyChangeHandler<decltype(handler)>>>();
    for (int i = 0; i < observers; ++i) handlers->emplace_back(numbers->value, handler);
    return [numbers, calls, handlers, next = std::int64_t(0)]() mutable {
      numbers->value = ++next;
      return *calls;
    };
  };
}

auto qtSignalObservedBy(int observers) {
  return [observers] {
    auto counter = std::make_shared<QtPeers::Counter>();
    auto calls = std::make_shared<std::int64_t>(0);
    for (int i = 0; i < observers; ++i) {
      QObject::connect(counter.get(), &QtPeers::Counter::valueChanged,
                       [calls = calls.get()](std::int64_t) { ++*calls; });
    }
    return [counter, calls, next = std::int64_t(0)]() mutable {
      counter->setValue(++next);
      return *calls;
    };
  };
}

auto boostObservedBy(int observers) {
  return [observers] {
    auto number = std::make_shared<BoostNumber>();
    auto calls = std::make_shared<std::int64_t>(0);
    for (int i = 0; i < observers; ++i) number->changed.connect([calls = calls.get()](std::int64_t) { ++*calls; });
    return [number, calls, next = std::int64_t(0)]() mutable {
      number->setValue(++next);
      return *calls;
    };
  };
}

auto gObjectObservedBy(int observers) {
  return [observers] {
    auto counter = std::make_shared<GLibPeers::Counter>();
    auto calls = std::make_shared<std::int64_t>(0);
    for (int i = 0; i < observers; ++i) counter->connect([](std::int64_t* count) { ++*count; }, calls.get());
    return [counter, calls, next = std::int64_t(0)]() mutable {
      counter->setValue(++next);
      return *calls;
    };
  };
}

/// Tracks a `Property` a number of times, and sets it, which calls and ends all trackings.
auto trackedBy(int trackings) {
  return [trackings] {
    auto numbers = std::make_shared<Numbers>();
    auto calls = std::make_shared<std::int64_t>(0);
    return [numbers, calls, trackings, next = std::int64_t(0)]() mutable {
      for (int i = 0; i < trackings; ++i) {
        withObservationTracking([&] { return numbers->value.value(); }, [calls = calls.get()] { ++*calls; });
      }
      numbers->value = ++next;
      return *calls;
    };
  };
}

auto qPropertyHandlersMadeAndEnded(int handlers) {
  return [handlers] {
    auto numbers = std::make_shared<QtNumbers>();
    auto calls = std::make_shared<std::int64_t>(0);
    const auto handler = [calls = calls.get()] { ++*calls; };
    using Handler = QPropertyChangeHandler<decltype(handler)>;
    auto made = std::make_shared<std::vector<std::optional<Handler>>>(handlers);
    return [numbers, calls, handler, made, next = std::int64_t(0)]() mutable {
      for (auto& each : *made) each.emplace(numbers->value, handler);
      numbers->value = ++next;
      for (auto& each : *made) each.reset();
      return *calls;
    };
  };
}

auto boostConnectedAndEnded(int connections) {
  return [connections] {
    auto number = std::make_shared<BoostNumber>();
    auto calls = std::make_shared<std::int64_t>(0);
    auto made = std::make_shared<std::vector<boost::signals2::scoped_connection>>(connections);
    return [number, calls, made, next = std::int64_t(0)]() mutable {
      for (auto& each : *made) {
        each = number->changed.connect([calls = calls.get()](std::int64_t) { ++*calls; });
      }
      number->setValue(++next);
      for (auto& each : *made) each.disconnect();
      return *calls;
    };
  };
}

const Facility observation("Observation", [](Facility& facility) {
  facility.row("set, untracked")
      .ours([numbers = std::make_shared<Numbers>(), next = std::int64_t(0)]() mutable { numbers->value = ++next; })
      .peer("QProperty",
            [numbers = std::make_shared<QtNumbers>(), next = std::int64_t(0)]() mutable { numbers->value = ++next; })
      .peer("Qt signal", qtSignalObservedBy(0))
      .peer("boost::signals2", boostObservedBy(0))
      .peer("GObject notify", gObjectObservedBy(0))
      .bar(2);

  facility.row("read, untracked")
      .ours([numbers = std::make_shared<Numbers>()] { return numbers->value.value(); })
      .peer("QProperty", [numbers = std::make_shared<QtNumbers>()] { return numbers->value.value(); });

  facility.row("track, set, be called")
      .ours(trackedBy(1))
      .peer("QProperty, handler made and ended", qPropertyHandlersMadeAndEnded(1))
      .peer("boost::signals2, connected and ended", boostConnectedAndEnded(1))
      .bar(70);
  for (const int trackings : {8, 1000}) {
    facility.row("track " + std::to_string(trackings) + " times, set, be called")
        .ours(trackedBy(trackings))
        .peer("QProperty, handlers made and ended", qPropertyHandlersMadeAndEnded(trackings))
        .peer("boost::signals2, connected and ended", boostConnectedAndEnded(trackings));
  }

  for (const int observers : {1, 8, 1000}) {
    facility.row("set, observed by " + std::to_string(observers))
        .ours(observedBy(observers))
        .peer("QProperty", qPropertyObservedBy(observers))
        .peer("Qt signal", qtSignalObservedBy(observers))
        .peer("boost::signals2", boostObservedBy(observers))
        .peer("GObject notify", gObjectObservedBy(observers));
  }

  facility.row("set, a sum of two follows and is observed")
      .ours([] {
        auto numbers = std::make_shared<Numbers>();
        auto last = std::make_shared<std::int64_t>(0);
        auto observation = std::make_shared<NSKeyValueObservation>(
            observe(numbers, keyPath<&Numbers::sum>, NSKeyValueObservingOptions::new_,
                    [last = last.get()](const auto& change) { *last = *change.newValue; }));
        return [numbers, last, observation, next = std::int64_t(0)]() mutable {
          numbers->value = ++next;
          return *last;
        };
      })
      .peer("QProperty binding", [] {
        auto numbers = std::make_shared<QtNumbers>();
        auto last = std::make_shared<std::int64_t>(0);
        numbers->sum.setBinding([numbers = numbers.get()] { return numbers->value.value() + numbers->other.value(); });
        const auto handler = [numbers = numbers.get(), last = last.get()] { *last = numbers->sum.value(); };
        auto handlers = std::make_shared<QPropertyChangeHandler<decltype(handler)>>(numbers->sum, handler);
        return [numbers, last, handlers, next = std::int64_t(0)]() mutable {
          numbers->value = ++next;
          return *last;
        };
      });

  facility.row("set, a key-path monitor is called")
      .ours([] {
        auto numbers = std::make_shared<Numbers>();
        auto calls = std::make_shared<std::int64_t>(0);
        auto monitor =
            KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([calls = calls.get()] { ++*calls; }));
        numbers->registerMonitor<&Numbers::value>(monitor);
        return [numbers, calls, monitor, next = std::int64_t(0)]() mutable {
          numbers->value = ++next;
          return *calls;
        };
      })
      .peer("Qt signal", qtSignalObservedBy(1))
      .peer("boost::signals2", boostObservedBy(1))
      .peer("GObject notify", gObjectObservedBy(1));
});

}  // namespace
}  // namespace Tessaly::Benchmarks
