// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/AutoCancelTask.hpp"

namespace Tessaly {

struct Photo {};
Async<void> load(Photo photo);

// clang-format off
class Thumbnails {
  void show(Photo photo) {
    AutoCancelTask<>([=] { return load(photo); }).store(loading_);
  }
  std::vector<AutoCancelTask<>> loading_;  // The last tasks are cancelled with their owner.
};
// clang-format on

}  // namespace Tessaly
