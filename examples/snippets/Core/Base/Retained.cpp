// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/Retained.hpp"

using namespace Tessaly;

namespace {

struct Connection {
  int references = 1;
  void retain() noexcept { ++references; }
  void release() noexcept {
    if (--references == 0) delete this;
  }
};

}  // namespace

void shareConnection() {
  Retained<Connection> connection = Retained<Connection>::adopt(new Connection);
  Retained<Connection> other = Retained<Connection>::sharing(*connection);
}
