// SPDX-License-Identifier: MIT
#pragma once

#include <QtCore/QObject>
#include <cstdint>

namespace Tessaly::Benchmarks {

/// An object with one signal.
class QtSender : public QObject {
  Q_OBJECT

 Q_SIGNALS:
  void sent(std::int64_t value);
};

}  // namespace Tessaly::Benchmarks
