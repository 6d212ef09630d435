// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A set of kinds of events that can happen to an open file.
///
/// Thread contract: thread-compatible.
///
///     constexpr FileSystemEvent wanted = FileSystemEvent::write | FileSystemEvent::delete_;
///     if (fired.contains(FileSystemEvent::write)) reload();
class FileSystemEvent {
 public:
  constexpr FileSystemEvent() noexcept = default;
  constexpr explicit FileSystemEvent(std::uint32_t rawValue) noexcept : rawValue_(rawValue) {}

  /// The name under which the file was opened was removed, or another file took that name. The file may have other hard
  /// links. A rename of the file is not a removal.
  static const FileSystemEvent delete_;
  /// The file was written or truncated, or a program set its modification time but not its access time. For a
  /// directory: an entry was added or removed.
  static const FileSystemEvent write;
  /// The file became longer.
  static const FileSystemEvent extend;
  /// The owner, the mode or an extended attribute of the file changed, or a program set the file's access and
  /// modification times together.
  static const FileSystemEvent attrib;
  /// The number of hard links to the file changed.
  static const FileSystemEvent link;
  /// The file was renamed or moved.
  static const FileSystemEvent rename;
  /// The volume of the file was unmounted.
  static const FileSystemEvent revoke;
  static const FileSystemEvent all;

  [[nodiscard]] constexpr std::uint32_t rawValue() const noexcept { return rawValue_; }
  [[nodiscard]] constexpr bool isEmpty() const noexcept { return rawValue_ == 0; }
  /// Whether every kind of `other` is in this set.
  [[nodiscard]] constexpr bool contains(FileSystemEvent other) const noexcept {
    return (rawValue_ & other.rawValue_) == other.rawValue_;
  }
  /// The kinds in brackets: "[write, extend]".
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  constexpr FileSystemEvent& operator|=(FileSystemEvent other) noexcept {
    rawValue_ |= other.rawValue_;
    return *this;
  }
  friend constexpr FileSystemEvent operator|(FileSystemEvent left, FileSystemEvent right) noexcept {
    return left |= right;
  }
  friend constexpr FileSystemEvent operator&(FileSystemEvent left, FileSystemEvent right) noexcept {
    return FileSystemEvent(left.rawValue_ & right.rawValue_);
  }
  friend constexpr bool operator==(FileSystemEvent, FileSystemEvent) noexcept = default;

 private:
  std::uint32_t rawValue_ = 0;
};

inline constexpr FileSystemEvent FileSystemEvent::delete_{0x01};
inline constexpr FileSystemEvent FileSystemEvent::write{0x02};
inline constexpr FileSystemEvent FileSystemEvent::extend{0x04};
inline constexpr FileSystemEvent FileSystemEvent::attrib{0x08};
inline constexpr FileSystemEvent FileSystemEvent::link{0x10};
inline constexpr FileSystemEvent FileSystemEvent::rename{0x20};
inline constexpr FileSystemEvent FileSystemEvent::revoke{0x40};
inline constexpr FileSystemEvent FileSystemEvent::all{0x7F};

}  // namespace Tessaly::inline v1
