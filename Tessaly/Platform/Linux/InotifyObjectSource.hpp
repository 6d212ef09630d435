// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Platform/Files/FileSystemObjectSource.hpp"
#include "Tessaly/Platform/Linux/InotifyHub.hpp"

struct stat;

namespace Tessaly::inline v1::detail {

/// What happens to an open file, told by inotify.
///
/// While a descriptor is open, a removal shows as a change of attributes only, so the link count is looked at, and
/// what the kernel says of the name under which it was opened.
///
/// Thread contract: thread-safe.
class InotifyObjectSource final : public FileSystemObjectSource,
                                  public InotifyHub::Subscriber,
                                  private Job,
                                  public std::enable_shared_from_this<InotifyObjectSource> {
 public:
  InotifyObjectSource(int descriptor, FileSystemEvent mask, OS_dispatch_queue queue);
  ~InotifyObjectSource() override;

  void setEventHandler(std::function<void()> handler) override;
  void setCancelHandler(std::function<void()> handler) override;
  void resume() override;
  void cancel() noexcept override;
  [[nodiscard]] FileSystemEvent data() const noexcept override { return fired_; }

  bool note(int watch, std::uint32_t mask, std::string_view name) noexcept override;
  void wake() noexcept override;

 private:
  void deliver() noexcept;
  void schedule() noexcept TESSALY_REQUIRES(lock_);
  FileSystemEvent translate(std::uint32_t inotifyMask) noexcept;
  /// Whether the name under which the file was opened is gone, though it may have others.
  [[nodiscard]] bool hasLostName(const struct ::stat& status) const noexcept;

  const int descriptor_;
  const FileSystemEvent mask_;
  const OS_dispatch_queue queue_;
  bool isFolder_ = false;
  std::function<void()> eventHandler_;
  std::function<void()> cancelHandler_;
  // What the delivery, which is one at a time, works on.
  FileSystemEvent fired_;
  bool isRemoved_ = false;
  nlink_t links_ = 0;
  off_t size_ = 0;

  UnfairLock lock_;
  int watch_ TESSALY_GUARDED_BY(lock_) = -1;
  std::uint32_t pending_ TESSALY_GUARDED_BY(lock_) = 0;
  bool isScheduled_ TESSALY_GUARDED_BY(lock_) = false;
  bool isCancelled_ TESSALY_GUARDED_BY(lock_) = false;
  bool hasEnded_ TESSALY_GUARDED_BY(lock_) = false;
  /// While a delivery is due.
  std::shared_ptr<InotifyObjectSource> self_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
