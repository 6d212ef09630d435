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

/// The adapters for Qt 6. The name is not Qt, so that `using namespace Tessaly` does not hide `Qt::`.
namespace Tessaly::inline v1::Qt6 {

/// An adapter that, while it exists, serves the main queue from Qt's event loop. The library's work on the main thread
/// then runs between the other events of the loop.
///
/// Construct the adapter after the application object. A nested loop (a modal dialog inside work of the main queue)
/// also serves the queue. The nested loop then runs later work of the queue, although the work that opened the dialog
/// has not ended. Several adapters may exist at the same time. Adapters may be destroyed in any order, even inside
/// work of the queue or after the application object. Work that arrives while the loop serves the queue waits for the
/// next turn of the loop. The adapter needs Qt Core only, and no moc.
///
/// These stop the process: constructing an adapter before the application object, outside the main thread, or without a
/// free file descriptor.
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

  const MainQueue::Service service_;
  /// A duplicate of the main queue's descriptor, because Qt's loop accepts only one notifier for a descriptor.
  const Descriptor descriptor_;
  QSocketNotifier notifier_;
};

}  // namespace Tessaly::inline v1::Qt6
