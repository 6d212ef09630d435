// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/OwnedTasks.hpp"

namespace Tessaly::OwnedTasksExample {

struct Document {};
struct Picture {};
Async<Picture> drawn(Document document);
void update();

// clang-format off
class Preview {
 public:
  void show(Document document) {
    tasks_.add([this, document]() -> Async<void> {
      picture_ = co_await drawn(document);
      update();
    });
  }

 private:
  Picture picture_;
  OwnedTasks tasks_;
};
// clang-format on

}  // namespace Tessaly::OwnedTasksExample
