// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Executor.hpp"

namespace Tessaly {

struct Redraw : Job {
  Redraw() : Job([](Job& job) noexcept { static_cast<Redraw&>(job).draw(); }) {}
  void draw();
};

void snippet(Job& job) {
  JobList waiting;
  waiting.append(job);
  while (Job* next = waiting.popFirst()) next->run();
}

class Inline : public Executor {
 public:
  void enqueue(Job& job) noexcept override { job.run(); }
};

}  // namespace Tessaly
