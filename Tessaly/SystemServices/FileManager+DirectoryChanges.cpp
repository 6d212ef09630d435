// SPDX-License-Identifier: MIT
#include <cerrno>
#include <memory>
#include <optional>
#include <utility>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "Tessaly/SystemServices/detail/Follower.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr const char* sourceFile = "Tessaly/FileManager+DirectoryChanges";
using Changes = std::vector<DirectoryChange>;

/// The state of a sequence of a directory's changes.
class DirectoryFollower : public detail::Follower<DirectorySource> {
 public:
  DirectoryFollower(FileManager& files, const URL& directory, DirectoryOptions options, Clock& clock)
      : Follower(clock,
                 [files = &files, directory, depth = options.depth](std::function<void()> wake) {
                   return files->makeDirectorySource(directory, depth, std::move(wake));
                 }),
        debounce_(options.debounce) {}
  DirectoryFollower(const DirectoryFollower&) = delete;
  DirectoryFollower& operator=(const DirectoryFollower&) = delete;
  /// The source ends beside the thread of the caller, because its list of 100,000 entries takes 20 ms to release.
  ~DirectoryFollower() {
    if (!hasListed_) return;
    Task<>::detached(
        [source = takeSource()]() mutable -> Async<void> { co_await runBlocking([&source] { source.reset(); }); });
  }

  static Async<std::optional<Changes>> next(std::shared_ptr<DirectoryFollower> self) {
    const SoleConsumer consumer(*self, sourceFile, __LINE__);
    if (!co_await keepDistance(*self)) co_return std::nullopt;
    for (;;) {
      auto changes = co_await take(*self);
      const bool isListing = !std::exchange(self->hasListed_, true);
      if (!changes || isListing || !changes->empty()) {
        self->delivered_ = self->clock().now();
        co_return changes;
      }
      if (!co_await wake(*self) || !co_await pause(*self, self->debounce_)) co_return std::nullopt;
    }
  }

 private:
  /// Takes the changes. A directory that is being replaced is missing for a moment, so the directory has 1 s to return.
  /// Absent if the task was cancelled meanwhile.
  ///
  /// The source is made beside the caller's thread too: the kernel takes 30 ms to watch a directory of 100,000 files.
  static Async<std::optional<Changes>> take(DirectoryFollower& self) {
    const auto takeChanges = [&self] { return self.source().takeChanges(); };
    try {
      co_return co_await runBlocking(takeChanges);
    } catch (const POSIXError& error) {
      if (error.code() != ENOENT || !self.hasListed_) throw;
    }
    if (!co_await pause(self, detail::pollingInterval)) co_return std::nullopt;
    co_return co_await runBlocking(takeChanges);
  }

  /// Waits until the delay has passed since the previous element. Changes that come meanwhile are not late, because the
  /// wait is not longer than the delay. Returns false if the task was cancelled.
  static Async<bool> keepDistance(DirectoryFollower& self) {
    if (!self.hasListed_ || self.debounce_ <= std::chrono::nanoseconds::zero()) co_return true;
    co_return co_await pause(self, self.debounce_ - (self.clock().now() - self.delivered_));
  }

  /// Waits. Returns false if the task was cancelled.
  static Async<bool> pause(DirectoryFollower& self, std::chrono::nanoseconds duration) {
    if (duration <= std::chrono::nanoseconds::zero()) co_return true;
    try {
      co_await Task<>::sleep(duration, self.clock());
      co_return true;
    } catch (const CancellationError&) {
      co_return false;
    }
  }

  const std::chrono::nanoseconds debounce_;
  bool hasListed_ = false;
  /// The time of the previous element. Meaningful after the listing.
  Clock::Instant delivered_{0};
};

}  // namespace

DirectoryChanges directoryChanges(FileManager& files, const URL& at, DirectoryOptions options, Clock& clock) {
  return DirectoryChanges::unfolding([follower = std::make_shared<DirectoryFollower>(files, at, options, clock)] {
    return DirectoryFollower::next(follower);
  });
}

}  // namespace Tessaly::inline v1
