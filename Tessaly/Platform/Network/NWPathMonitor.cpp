// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"

#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Platform/Network/NetworkBackend.hpp"

namespace Tessaly::inline v1 {

std::shared_ptr<NWPathMonitor> NWPathMonitor::make() {
  const std::shared_ptr<NetworkBackend>& backend = NetworkBackend::current();
  backend->refresh();
  return std::make_shared<NWPathMonitor>(Private(), backend);
}

NWPathMonitor::NWPathMonitor(Private, std::shared_ptr<NetworkBackend> backend) : backend_(std::move(backend)) {}

NWPathMonitor::~NWPathMonitor() {
  cancel();
  backend_->remove(*this);  // A second removal, because another thread may have been in `start` during the first one.
}

void NWPathMonitor::setPathUpdateHandler(PathUpdateHandler handler) {
  // The old handler is destroyed after the lock is released.
  auto shared = handler ? std::make_shared<PathUpdateHandler>(std::move(handler)) : nullptr;
  const UnfairLock::Guard guard(lock_);
  if (!isCancelled_) handler_.swap(shared);
}

void NWPathMonitor::start(OS_dispatch_queue queue) {
  {
    const UnfairLock::Guard guard(lock_);
    if (isCancelled_ || queue_) return;
    queue_ = queue;
  }
  backend_->add(shared_from_this());
}

NWPath NWPathMonitor::currentPath() const noexcept { return backend_->currentPath(); }

void NWPathMonitor::cancel() noexcept {
  std::shared_ptr<PathUpdateHandler> handler;
  {
    const UnfairLock::Guard guard(lock_);
    if (std::exchange(isCancelled_, true)) return;
    handler_.swap(handler);
    pending_.clear();
    if (!queue_) return;
  }
  backend_->remove(*this);
}

void NWPathMonitor::append(NWPath path) {
  const UnfairLock::Guard guard(lock_);
  if (!isCancelled_) pending_.push_back(path);
}

void NWPathMonitor::schedule() {
  std::optional<OS_dispatch_queue> queue;
  {
    const UnfairLock::Guard guard(lock_);
    queue = queue_;
  }
  queue->async([weak = weak_from_this()] {
    while (const auto self = weak.lock()) {
      if (!self->deliverNext()) return;
    }
  });
}

bool NWPathMonitor::deliverNext() noexcept {
  const std::uint32_t self = currentThreadIdentifier();
  std::optional<NWPath> path;
  std::shared_ptr<PathUpdateHandler> handler;
  std::uint32_t outer = 0;
  {
    const UnfairLock::Guard guard(lock_);
    // A thread that is delivering also delivers the paths of this call. If this thread itself is delivering, its
    // handler runs a nested loop, and that loop must not wait for the handler.
    if (deliveringThread_ != 0 && deliveringThread_ != self) return false;
    if (pending_.empty()) return false;
    outer = std::exchange(deliveringThread_, self);
    path = pending_.front();
    pending_.pop_front();
    handler = handler_;
  }
  if (handler != nullptr) callNotification("The update handler of a path monitor", *handler, *path);
  handler.reset();
  const UnfairLock::Guard guard(lock_);
  deliveringThread_ = outer;
  return true;
}

}  // namespace Tessaly::inline v1
