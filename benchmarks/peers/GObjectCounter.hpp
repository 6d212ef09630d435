// SPDX-License-Identifier: MIT
#pragma once

#include <glib-object.h>

#include <cstdint>
#include <memory>

namespace Tessaly::Benchmarks::GLibPeers {

/// A GObject with one property, "value", that notifies about a different value.
class Counter {
 public:
  Counter();

  void setValue(std::int64_t value);
  /// Calls the function with the given address after each change.
  void connect(void (*onChange)(std::int64_t* count), std::int64_t* count);

 private:
  std::shared_ptr<GObject> object_;
};

}  // namespace Tessaly::Benchmarks::GLibPeers
