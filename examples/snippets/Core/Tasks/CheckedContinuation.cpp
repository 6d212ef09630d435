// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"

#include <functional>
#include <utility>

namespace Tessaly {

struct Reply {};
struct Service {
  void ask(std::function<void(Reply)> answer);
};

Async<Reply> snippet(Service& service) {
  Reply reply = co_await withCheckedContinuation<Reply>([&](CheckedContinuation<Reply> continuation) {
    service.ask([continuation](Reply answer) { continuation.resume(std::move(answer)); });
  });
  co_return reply;
}

}  // namespace Tessaly
