// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Cancellation.hpp"

namespace Tessaly {

struct Download {
  Async<void> finished();
  void abort();
};

Async<void> snippet(Download& download) {
  co_await withTaskCancellationHandler([&] { return download.finished(); }, [&] { download.abort(); });
}

}  // namespace Tessaly
