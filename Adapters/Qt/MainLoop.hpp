// SPDX-License-Identifier: MIT
// Component: Tessaly::QtAdapter
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <QAbstractEventDispatcher>
#include <QObject>
#include <QSocketNotifier>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"

/// The adapters for Qt 6. Not named Qt, so that `using namespace Tessaly` leaves `Qt::` what it is.
namespace Tessaly::inline v1::Qt6 {

/// Serves the main queue from Qt's event loop, as long as it lives: what the library runs on the main thread then runs
/// between the loop's other events.
///
/// Make it once the application object is there. Nested loops (a modal dialog inside work of the main queue) serve the
/// queue too, also what stood behind the work that opened them. Several adapters may stand side by side and go in any
/// order, even inside work of the queue, and after the application object. Work that comes while the loop serves the
/// queue waits for the loop's next turn. It needs Qt Core only, and no moc.
///
/// Stops the process: making one before the application object, or on another thread than the main thread.
///
/// Thread contract: main-isolated.
///
///     QCoreApplication application(argumentCount, arguments);
///     Qt6::MainLoopAdapter adapter;
///     return application.exec();
class MainLoopAdapter {
 public:
  MainLoopAdapter() : descriptor_(descriptorToWatch()), notifier_(descriptor_.number, QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [] { MainQueue::drain(); });
  }
  MainLoopAdapter(const MainLoopAdapter&) = delete;
  MainLoopAdapter& operator=(const MainLoopAdapter&) = delete;

 private:
  struct Descriptor {
    explicit Descriptor(int watched) : number(::fcntl(watched, F_DUPFD_CLOEXEC, 0)) {
      if (number < 0) fatalError("The adapter for Qt has no descriptor left", "Tessaly/MainLoopAdapter", __LINE__);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { ::close(number); }
    const int number;
  };

  static int descriptorToWatch() {
    assertMainIsolated("Tessaly/MainLoopAdapter", __LINE__);
    if (QAbstractEventDispatcher::instance() == nullptr) {
      fatalError("The adapter for Qt was made before the application object", "Tessaly/MainLoopAdapter", __LINE__);
    }
    return MainQueue::fileDescriptor();
  }

  /// One of its own: Qt's loop takes one notifier for a descriptor.
  const Descriptor descriptor_;
  QSocketNotifier notifier_;
};

}  // namespace Tessaly::inline v1::Qt6
