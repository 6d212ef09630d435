// expected: no matching member function for call to 'send'
// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/AsyncStreams.hpp"

void send(Tessaly::AsyncStreams<int>& broadcaster) {
#ifdef ALLOWED
  broadcaster.send(1);
#else
  broadcaster.send();
#endif
}
