// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <cstdint>

namespace Tessaly::Benchmarks::QtPeers {

/// A number as a Qt class declares it: a setter that compares and emits.
class Counter : public QObject {
  Q_OBJECT

 public:
  [[nodiscard]] std::int64_t value() const { return value_; }
  void setValue(std::int64_t value) {
    if (value == value_) return;
    value_ = value;
    Q_EMIT valueChanged(value);
  }

 Q_SIGNALS:
  void valueChanged(std::int64_t value);

 private:
  std::int64_t value_ = 0;
};

}  // namespace Tessaly::Benchmarks::QtPeers
