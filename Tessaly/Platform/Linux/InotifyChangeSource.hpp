// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/detail/InotifyHub.hpp"
#include "Tessaly/Platform/Files/FileChange.hpp"

namespace Tessaly::inline v1::detail {

/// A source of the changes of the file that a path leads to. The source watches the file. In each directory on the
/// path, the source also watches the next name of the path. Symbolic links are resolved.
///
/// Thread contract: thread-compatible.
class InotifyChangeSource final : public FileChangeSource {
 public:
  InotifyChangeSource(std::string path, std::function<void()> onPossibleChange);
  ~InotifyChangeSource() override;

  [[nodiscard]] std::optional<FileChange> takeChange() override;
  [[nodiscard]] bool needsPolling() const noexcept override { return isBlind_; }

 private:
  /// A summary of the events since the last call of `take`.
  struct Heard {
    bool wasWritten = false;    ///< The file was written.
    bool mayDiffer = false;     ///< The file may have changed.
    bool mayHaveMoved = false;  ///< The path may lead elsewhere.
    bool wasNamed = false;      ///< A file was created or moved at a name on the path.

    [[nodiscard]] bool isAnything() const noexcept { return wasWritten || mayDiffer || mayHaveMoved || wasNamed; }
  };
  /// The names that matter in each watched directory, by the number of the directory's watch. The watch of the file
  /// itself is not included.
  using Watches = std::map<int, std::set<std::string, std::less<>>>;

  class Listener final : public InotifyHub::Subscriber {
   public:
    explicit Listener(std::function<void()> onPossibleChange) : onPossibleChange_(std::move(onPossibleChange)) {}

    bool note(int watch, std::uint32_t mask, std::string_view name) noexcept override;
    bool noteMounts() noexcept override;
    void wake() noexcept override { onPossibleChange_(); }
    Heard take();
    void beginSettling();
    void settle(Watches watches, int file);

   private:
    UnfairLock lock_;
    Watches watches_ TESSALY_GUARDED_BY(lock_);
    int file_ TESSALY_GUARDED_BY(lock_) = -1;
    Heard heard_ TESSALY_GUARDED_BY(lock_);
    /// Whether the watches are being set. The directory of an event is unknown during that time.
    bool isSettling_ TESSALY_GUARDED_BY(lock_) = true;
    const std::function<void()> onPossibleChange_;
  };

  /// The system's description of the file.
  struct State {
    bool exists = false;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t born = 0;
    std::int64_t size = 0;
    std::int64_t modified = 0;
    std::int64_t changed = 0;

    friend bool operator==(const State&, const State&) noexcept = default;
    [[nodiscard]] bool isSameFile(const State& other) const noexcept {
      return device == other.device && inode == other.inode && born == other.born;
    }
  };

  void follow();
  [[nodiscard]] State look() const noexcept;
  [[nodiscard]] std::optional<FileChange> changeSince(const State& before, const Heard& heard,
                                                      bool hearsNothing) const noexcept;

  const std::string path_;
  const std::shared_ptr<Listener> listener_;
  std::vector<int> watches_;
  State state_;
  bool isBlind_ = false;
  bool isFollowing_ = false;
  /// Whether the modification time has changed since `takeChange` last returned a change.
  bool hasNewTime_ = false;
};

}  // namespace Tessaly::inline v1::detail
