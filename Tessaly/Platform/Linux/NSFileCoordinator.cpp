// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/NSFileCoordinator.hpp"

#include <fcntl.h>
#include <locale.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Platform/Files/FileHandle.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "Tessaly/Platform/Files/detail/FilePath.hpp"
#include "Tessaly/Platform/Linux/ArchiveLibrary.hpp"
#include "Tessaly/Platform/Linux/DirectoryCursor.hpp"
#include "Tessaly/Platform/Linux/DirectoryListing.hpp"

namespace Tessaly::inline v1 {
namespace {

using namespace detail;  // Its functions of libarchive hide the global ones.

struct CloseArchive {
  void operator()(archive* zip) const noexcept { archive_write_free(zip); }
};
struct FreeEntry {
  void operator()(archive_entry* entry) const noexcept { archive_entry_free(entry); }
};

/// The locale for archiving a name: one locale for UTF-8, and another one for other bytes. libarchive chooses the
/// encoding mark of a name by the thread's locale. Null if the system lacks the locale. Never freed.
locale_t localeForName(std::string_view name) noexcept {
  static const locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  static const locale_t bytes = ::newlocale(LC_CTYPE_MASK, "C", nullptr);
  return Text::isWellFormed(name) ? utf8 : bytes;
}

/// Sets the locale of this thread for a scope, unless the locale is null.
class LocaleOfThread {
 public:
  explicit LocaleOfThread(locale_t locale) noexcept : previous_(::uselocale(locale)) {}
  ~LocaleOfThread() { ::uselocale(previous_); }
  LocaleOfThread(const LocaleOfThread&) = delete;
  LocaleOfThread& operator=(const LocaleOfThread&) = delete;

 private:
  locale_t previous_;
};

/// An archive that is being written.
///
/// The writer hides a failed write from libarchive, because libarchive leaks memory after a failed write.
class ZipWriter {
 public:
  explicit ZipWriter(int descriptor) : descriptor_(descriptor), zip_(newArchive()) {
    check(archive_write_set_format_zip(zip_.get()));
    check(archive_write_set_bytes_per_block(zip_.get(), blockSize));
    check(archive_write_set_bytes_in_last_block(zip_.get(), 1));
    check(archive_write_open(zip_.get(), this, nullptr, write, nullptr));
  }
  ZipWriter(const ZipWriter&) = delete;
  ZipWriter& operator=(const ZipWriter&) = delete;

  /// Adds an entry of a directory. Returns whether the entry is a directory, too.
  bool add(int directory, const std::string& entryName, const std::string& name) {
    struct stat status{};
    if (::fstatat(directory, entryName.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) throw POSIXError::last();
    const std::unique_ptr<archive_entry, FreeEntry> entry(archive_entry_new());
    archive_entry_copy_stat(entry.get(), &status);
    archive_entry_copy_pathname(entry.get(), name.c_str());
    if (S_ISLNK(status.st_mode)) {
      archive_entry_copy_symlink(entry.get(), targetOfLink(directory, entryName.c_str()).c_str());
    }
    const bool isDirectory = S_ISDIR(status.st_mode);
    if (S_ISREG(status.st_mode)) addFile(directory, entryName, name, entry.get());
    if (isDirectory || S_ISLNK(status.st_mode)) addHeader(name, entry.get());
    return isDirectory;
  }
  void finish() { check(archive_write_close(zip_.get())); }

 private:
  static constexpr int blockSize = 64 * 1024;

  static archive* newArchive() {
    if (!archiveLibrary.isLoaded()) throw POSIXError(ELIBACC);
    return archive_write_new();
  }

  static la_ssize_t write(archive* /*zip*/, void* self, const void* bytes, std::size_t size) noexcept {
    static_cast<ZipWriter*>(self)->write(static_cast<const char*>(bytes), size);
    return static_cast<la_ssize_t>(size);
  }
  void write(const char* bytes, std::size_t size) noexcept {
    if (error_ == 0) error_ = detail::writeAll(descriptor_, {bytes, size});
  }

  void addHeader(const std::string& name, archive_entry* entry) {
    const LocaleOfThread locale(localeForName(name));
    check(archive_write_header(zip_.get(), entry));
  }

  /// Adds a file. The header with the size precedes the contents. Files such as those of /proc report other sizes, but
  /// are small: the first block contains them completely and gives their size. If the first block is full and the
  /// reported size is not larger than the block, the header has no size.
  void addFile(int directory, const std::string& entryName, const std::string& name, archive_entry* entry) {
    const FileHandle file(::openat(directory, entryName.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    if (file.fileDescriptor() < 0) throw POSIXError::last();
    std::size_t filled = fillBlock(file);
    if (filled < block_.size()) {
      archive_entry_set_size(entry, static_cast<la_int64_t>(filled));
    } else if (archive_entry_size(entry) <= static_cast<la_int64_t>(filled)) {
      archive_entry_unset_size(entry);
    }
    const bool hasSize = archive_entry_size_is_set(entry) != 0;
    addHeader(name, entry);
    la_int64_t total = 0;
    for (; filled > 0; filled = fillBlock(file)) {
      total += static_cast<la_int64_t>(filled);
      check(static_cast<int>(archive_write_data(zip_.get(), block_.data(), filled)));
      if (filled < block_.size()) break;
    }
    if (hasSize && total != archive_entry_size(entry)) throw POSIXError(EBUSY);
  }

  /// Reads until the block is full or the file ends. Returns the number of bytes.
  std::size_t fillBlock(const FileHandle& file) {
    const detail::Transferred received = detail::readFull(file.fileDescriptor(), block_.data(), block_.size());
    if (received.error != 0) throw POSIXError(received.error);
    return received.count;
  }
  void check(int result) const {
    if (error_ != 0) throw POSIXError(error_);
    if (result >= ARCHIVE_WARN) return;
    const int code = archive_errno(zip_.get());
    throw POSIXError(code > 0 ? code : EIO);
  }

  const int descriptor_;
  /// The error of a failed write. Nothing is written after it.
  int error_ = 0;
  std::vector<char> block_ = std::vector<char>(std::size_t{256} * 1024);
  std::unique_ptr<archive, CloseArchive> zip_;
};

/// A temporary file for one archive. Other users may not read it. It has no separate directory, because some file
/// systems take milliseconds to remove a directory.
class TemporaryFile {
 public:
  TemporaryFile()
      : path_(FileManager::default_().temporaryDirectory().path() + "/tessaly-XXXXXX" + suffix),
        handle_(::mkostemps(path_.data(), std::string_view(suffix).size(), O_CLOEXEC)) {
    if (handle_.fileDescriptor() < 0) throw POSIXError::last();
  }
  ~TemporaryFile() { ::unlink(path_.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] FileHandle& handle() noexcept { return handle_; }

 private:
  static constexpr const char* suffix = ".zip";

  std::string path_;
  FileHandle handle_;
};

void zipFolder(const std::string& folder, int archive) {
  ZipWriter zip(archive);
  DirectoryCursor place;
  place.enter(folder + "/.");  // A link to the directory becomes a directory, too.
  std::string above = std::filesystem::path(folder).filename().string() + '/';
  zip.add(place.descriptor(), ".", above);
  while (place.depth() > 0) {
    if (const auto name = place.nextName()) {
      if (!zip.add(place.descriptor(), *name, above + *name)) continue;
      place.enter(*name);
      above.append(*name) += '/';
    } else {
      place.leave();
      above.resize(above.rfind('/', above.size() - 2) + 1);
    }
  }
  zip.finish();
}

}  // namespace

void NSFileCoordinator::coordinateReading(const URL& url, ReadingOptions options,
                                          const std::function<void(const URL&)>& accessor) const {
  const std::string path = detail::filePath(url);
  struct stat status{};
  if (::stat(path.c_str(), &status) != 0) throw POSIXError::last();
  if (options != ReadingOptions::forUploading || !S_ISDIR(status.st_mode)) return accessor(url);
  TemporaryFile archive;
  zipFolder(path, archive.handle().fileDescriptor());
  archive.handle().close();
  accessor(URL::fileURLWithPath(archive.path()));
}

}  // namespace Tessaly::inline v1
