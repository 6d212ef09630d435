// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/AsyncLazy.hpp"

namespace Tessaly {

struct Catalogue {};
Async<Catalogue> downloadCatalogue();

Async<void> showAsyncLazy() {
  AsyncLazy<Catalogue> catalogue([] { return downloadCatalogue(); });
  Catalogue first = co_await catalogue.wrappedValue()();
  Catalogue again = co_await catalogue.wrappedValue()();  // At once.
}

}  // namespace Tessaly
