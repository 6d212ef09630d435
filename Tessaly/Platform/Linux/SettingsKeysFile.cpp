// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/SettingsKeysFile.hpp"

#include <fcntl.h>

#include <new>
#include <string_view>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "Tessaly/Platform/Settings/detail/SettingDescriptions.hpp"

namespace Tessaly::inline v1::detail {

SettingsKeysFile::SettingsKeysFile(SettingsFileSystem& files, const std::string& directory, std::uint64_t writer)
    : files_(files), path_(directory + "/Keys.plist"), writer_(writer) {}

StoreResult<> SettingsKeysFile::write(const std::vector<SettingDescription>& keys) const {
  const PropertyList list = propertyListOf(keys);
  const bool isText = PropertyListSerialization::isExact(list, PropertyListFormat::xml);
  const Data bytes =
      PropertyListSerialization::data(list, isText ? PropertyListFormat::xml : PropertyListFormat::binary);
  const UnfairLock::Guard guard(writing_);
  if (identityAt(path_, files_).size == bytes.size()) {
    if (const auto present = readFile(path_, files_); present && present->bytes == bytes.text()) return {};
  }
  if (const auto made = makeDirectories(directoryOfPath(path_), files_); !made) return made;
  const std::string beginning = path_ + ".new-";
  removeAbandoned(beginning, files_);
  const std::string temporary = beginning + std::to_string(writer_);
  if (const auto removed = files_.remove(temporary); !removed) return removed;
  const auto file = files_.open(temporary, O_WRONLY | O_CREAT | O_EXCL, 0600);
  if (!file) return std::unexpected(file.error());
  auto result = files_.writeAll(file->get(), bytes.text());
  if (result) result = files_.rename(temporary, path_, Replacing::replace);
  if (!result) static_cast<void>(files_.remove(temporary));
  return result;
}

std::vector<SettingDescription> SettingsKeysFile::read() const {
  try {
    const auto file = readFile(path_, files_);
    if (!file) return {};
    const Data bytes(std::string_view(file->bytes));
    return descriptionsIn(PropertyListSerialization::read(bytes.bytes()).value);
  } catch (const PropertyListError&) {
    return {};
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace Tessaly::inline v1::detail
