// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Core/Tasks/detail/InotifyHub.hpp"
#include "Tessaly/Platform/Files/FileSystemObjectSource.hpp"

struct stat;

namespace Tessaly::inline v1::detail {

/// Reports events of an open file through inotify.
///
/// While a descriptor of the file is open, inotify reports the removal of the file only as a change of attributes. So
/// the source checks the link count, and the name under which the kernel knows the open file.
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
  /// Shared, so that a handler that is replaced during its call lives until it returns.
  using Handler = std::shared_ptr<const std::function<void()>>;

  /// Watches the file. Returns the number of the watch, or the negative `errno`. Sets `isGone` if the file was removed
  /// before the watch existed.
  int watch(bool& isGone);
  void deliver() noexcept;
  void schedule() noexcept TESSALY_REQUIRES(lock_);
  FileSystemEvent translate(std::uint32_t inotifyMask) noexcept;
  /// Whether the open file has lost the name under which the kernel knows it. The file may have other hard links.
  [[nodiscard]] bool hasLostName(const struct ::stat& status) const noexcept;

  const int descriptor_;
  const FileSystemEvent mask_;
  const OS_dispatch_queue queue_;
  bool isFolder_ = false;
  // The events of the present delivery. There is one delivery at a time.
  FileSystemEvent fired_;
  bool isRemoved_ = false;
  nlink_t links_ = 0;
  off_t size_ = 0;

  UnfairLock lock_;
  Handler eventHandler_ TESSALY_GUARDED_BY(lock_);
  Handler cancelHandler_ TESSALY_GUARDED_BY(lock_);
  int watch_ TESSALY_GUARDED_BY(lock_) = -1;
  std::uint32_t pending_ TESSALY_GUARDED_BY(lock_) = 0;
  /// Whether a delivery is pending or running. Also true during `resume`, so that no handler is called meanwhile: the
  /// cancel handler may close the descriptor.
  bool isScheduled_ TESSALY_GUARDED_BY(lock_) = false;
  bool isCancelled_ TESSALY_GUARDED_BY(lock_) = false;
  bool hasEnded_ TESSALY_GUARDED_BY(lock_) = false;
  /// A reference to this object while a delivery is pending.
  std::shared_ptr<InotifyObjectSource> self_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
