// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/detail/CopyItem.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <limits>
#include <memory>

#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Files/FileHandle.hpp"
#include "Tessaly/Platform/Files/detail/RemoveItem.hpp"
#include "Tessaly/Platform/Linux/DirectoryCursor.hpp"
#include "Tessaly/Platform/Linux/DirectoryListing.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr mode_t permissions = 07777;

template <typename Result>
Result checked(Result result) {
  if (result < 0) throw POSIXError::last();
  return result;
}

/// For a change of a mode or a time. Some FUSE volumes and mounted phones have fixed modes and times.
void checkedIfSupported(int result) {
  if (result < 0 && errno != EPERM && errno != ENOTSUP && errno != ENOSYS) throw POSIXError::last();
}

/// Removes an incomplete copy that `copyItem` has made.
class Discarding {
 public:
  explicit Discarding(const std::string& copy) noexcept : copy_(copy) {}
  Discarding(const Discarding&) = delete;
  Discarding& operator=(const Discarding&) = delete;
  ~Discarding() {
    if (!isComplete_) static_cast<void>(discard());
  }
  void keep() noexcept { isComplete_ = true; }

 private:
  /// Returns whether the copy is gone. A failure is not reported, because the error of the copy is being passed on.
  [[nodiscard]] bool discard() const noexcept {
    try {
      removeItem(copy_);
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }

  const std::string& copy_;
  bool isComplete_ = false;
};

/// Copies a range through the memory of this process. Returns the end of the copied part, which is less than `end` if
/// the file is shorter.
off_t copyByReading(int source, int destination, off_t start, off_t end) {
  // Every copy of a file ends with a call of this function. A larger block would cost more than the copy of a small
  // file.
  constexpr std::size_t blockSize = std::size_t{64} * 1024;
  const auto block = std::make_unique_for_overwrite<char[]>(blockSize);
  while (start < end) {
    const auto wanted = static_cast<std::size_t>(std::min<off_t>(end - start, off_t{blockSize}));
    const Transferred received = readFullAt(source, block.get(), wanted, start);
    if (received.error != 0) throw POSIXError(received.error);
    if (received.count == 0) break;
    if (const int error = writeFullAt(destination, block.get(), received.count, start).error) throw POSIXError(error);
    start += static_cast<off_t>(received.count);
  }
  return start;
}

/// Like `copyByReading`, but the file system copies or shares the bytes if it can.
off_t copyBytes(int source, int destination, off_t start, off_t end) {
  while (start < end) {
    off_t from = start;
    off_t to = start;
    const ssize_t size = ::copy_file_range(source, &from, destination, &to, static_cast<std::size_t>(end - start), 0);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP || errno == EPERM)) {
      return copyByReading(source, destination, start, end);
    }
    // Some kernels copy nothing from files whose contents the kernel generates, such as those of /proc.
    if (checked(size) == 0) return copyByReading(source, destination, start, end);
    start += size;
  }
  return start;
}

/// Copies a file to its end into an empty file. The end may differ from the reported size, because files such as those
/// of /proc report other sizes. Holes stay holes.
void copyContents(int source, int destination, off_t size) {
  off_t place = 0;
  while (place < size) {
    const off_t start = ::lseek(source, place, SEEK_DATA);
    if (start < 0 && errno == ENXIO) {
      checked(::ftruncate(destination, size));  // The rest of the file is a hole.
      return;
    }
    const off_t hole = start < 0 ? -1 : ::lseek(source, start, SEEK_HOLE);
    const bool knowsHoles = start >= 0 && hole > start;
    const off_t end = knowsHoles ? hole : size;
    place = copyBytes(source, destination, knowsHoles ? start : place, end);
    if (place < end) return;
  }
  copyByReading(source, destination, place, std::numeric_limits<off_t>::max());
}

bool isSameMoment(const timespec& left, const timespec& right) noexcept {
  return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

/// Whether the file was not written between the two calls of `fstat`.
bool isUnchanged(const struct stat& before, const struct stat& after) noexcept {
  return before.st_size == after.st_size && isSameMoment(before.st_mtim, after.st_mtim);
}

void copyFile(int directory, const std::string& name, const std::string& destination) {
  const FileHandle from(checked(::openat(directory, name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW)));
  FileHandle to(checked(::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR)));
  Discarding incomplete(destination);
  const int writing = to.fileDescriptor();
  struct stat before{};
  struct stat after{};
  checked(::fstat(from.fileDescriptor(), &after));
  // A program that writes a log occasionally leaves enough time for one of these attempts.
  constexpr int attempts = 3;
  for (int attempt = 1; attempt == 1 || !isUnchanged(before, after); ++attempt) {
    if (attempt > attempts) throw POSIXError(EBUSY);
    if (attempt > 1) checked(::ftruncate(writing, 0));
    before = after;
    copyContents(from.fileDescriptor(), writing, before.st_size);
    checked(::fstat(from.fileDescriptor(), &after));
  }
  checkedIfSupported(::fchmod(writing, after.st_mode & permissions));
  const timespec times[2]{after.st_atim, after.st_mtim};
  checkedIfSupported(::futimens(writing, times));
  to.close();
  incomplete.keep();
}

void copyLink(int directory, const std::string& name, const std::string& destination, const struct stat& status) {
  checked(::symlink(targetOfLink(directory, name.c_str()).c_str(), destination.c_str()));
  const timespec times[2]{status.st_atim, status.st_mtim};
  checkedIfSupported(::utimensat(AT_FDCWD, destination.c_str(), times, AT_SYMLINK_NOFOLLOW));
}

void copyEntry(DirectoryCursor& place, const std::string& name, const std::string& destination);

void copyFolder(DirectoryCursor& place, const std::string& name, const std::string& destination) {
  place.enter(name);
  struct stat status{};
  checked(::fstatat(place.descriptor(), ".", &status, 0));
  checked(::mkdir(destination.c_str(), S_IRWXU));
  Discarding incomplete(destination);
  while (const auto below = place.nextName()) copyEntry(place, *below, (destination + '/').append(*below));
  place.leave();
  checkedIfSupported(::chmod(destination.c_str(), status.st_mode & permissions));
  const timespec times[2]{status.st_atim, status.st_mtim};
  checkedIfSupported(::utimensat(AT_FDCWD, destination.c_str(), times, 0));
  incomplete.keep();
}

void copyEntry(DirectoryCursor& place, const std::string& name, const std::string& destination) {
  struct stat status{};
  checked(::fstatat(place.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW));
  if (S_ISREG(status.st_mode)) return copyFile(place.descriptor(), name, destination);
  if (S_ISLNK(status.st_mode)) return copyLink(place.descriptor(), name, destination, status);
  if (S_ISDIR(status.st_mode)) return copyFolder(place, name, destination);
  throw POSIXError(ENOTSUP);
}

}  // namespace

void copyItem(const std::string& source, const std::string& destination) {
  DirectoryCursor place;
  copyEntry(place, source, destination);
}

}  // namespace Tessaly::inline v1::detail
