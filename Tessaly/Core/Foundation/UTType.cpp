// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/UTType.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ostream>
#include <set>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEDatabase.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEText.hpp"
#include "Tessaly/Core/Foundation/detail/TypeIdentifiers.hpp"

namespace Tessaly::inline v1 {
namespace {

using detail::MIMEDatabase;

constexpr std::string_view dynamicPrefix = "dyn.";

/// The abstract type that all types of one family conform to.
std::string_view kindOf(std::string_view mimeType) noexcept {
  if (mimeType.starts_with("image/")) return "public.image";
  if (mimeType.starts_with("audio/")) return "public.audio";
  if (mimeType.starts_with("video/")) return "public.movie";
  if (mimeType.starts_with("font/")) return "public.font";
  if (mimeType.starts_with("inode/")) return "public.item";
  return "public.data";
}

/// The identifier of the type with a MIME type in lower case.
std::string identifierOf(std::string_view mimeType) {
  const auto* const known = detail::wellKnownTypeOfMIMEType(mimeType);
  return known != nullptr ? std::string(known->identifier) : MIMEDatabase::shared().spelling(mimeType);
}

void addOnce(std::vector<std::string>& texts, std::string text) {
  if (std::ranges::find(texts, text) == texts.end()) texts.push_back(std::move(text));
}

std::vector<std::string> supertypesOf(std::string_view identifier) {
  std::vector<std::string> supertypes;
  if (identifier.starts_with(dynamicPrefix)) {
    if (auto dynamic = detail::dynamicType(identifier)) supertypes.push_back(std::move(dynamic->supertype));
    return supertypes;
  }
  const auto* const known = detail::wellKnownType(identifier);
  if (known != nullptr) {
    for (const std::string_view supertype : known->supertypes) {
      if (!supertype.empty()) supertypes.emplace_back(supertype);
    }
  }
  const std::string mimeType = known != nullptr ? std::string(known->mimeType) : detail::lowercased(identifier);
  if (mimeType.empty()) return supertypes;
  for (const std::string& parent : MIMEDatabase::shared().parents(mimeType)) {
    addOnce(supertypes, identifierOf(parent));
  }
  if (known == nullptr) addOnce(supertypes, std::string(kindOf(mimeType)));
  return supertypes;
}

std::string_view typeOfInode(mode_t mode) noexcept {
  switch (mode & S_IFMT) {
    case S_IFDIR:
      return "inode/directory";
    case S_IFCHR:
      return "inode/chardevice";
    case S_IFBLK:
      return "inode/blockdevice";
    case S_IFIFO:
      return "inode/fifo";
    case S_IFSOCK:
      return "inode/socket";
    default:
      return {};
  }
}

}  // namespace

std::optional<UTType> UTType::from(std::string_view identifier) {
  if (identifier.starts_with(dynamicPrefix)) {
    if (!detail::dynamicType(identifier)) return std::nullopt;
    return UTType(std::string(identifier), {});
  }
  if (const auto* const known = detail::wellKnownType(identifier)) {
    return UTType(std::string(known->identifier), std::string(known->mimeType));
  }
  if (!detail::isMIMEType(identifier)) return std::nullopt;
  const MIMEDatabase& database = MIMEDatabase::shared();
  const std::string mimeType = database.canonical(identifier);
  if (!database.knows(mimeType) && detail::wellKnownTypeOfMIMEType(mimeType) == nullptr) return std::nullopt;
  return ofMIMEType(mimeType);
}

std::optional<UTType> UTType::fromFilenameExtension(std::string_view extension, const UTType& conformingTo) {
  if (extension.empty() || extension.find('/') != std::string_view::npos ||
      extension.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  std::vector<UTType> candidates;
  for (const std::string& mimeType : MIMEDatabase::shared().typesOfExtension(extension)) {
    candidates.push_back(ofMIMEType(mimeType));
  }
  std::string lower(extension);
  std::ranges::transform(lower, lower.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
  // A well-known type of the extension comes first if the database lists it too, or lists no type.
  for (const auto& known : detail::wellKnownTypes()) {
    if (known.filenameExtension != lower) continue;
    UTType type = wellKnown(known.identifier);
    if (candidates.empty() || std::ranges::find(candidates, type) != candidates.end()) {
      candidates.insert(candidates.begin(), std::move(type));
    }
  }
  for (UTType& candidate : candidates) {
    if (candidate.conformsTo(conformingTo)) return std::move(candidate);
  }
  return UTType(detail::dynamicIdentifier({conformingTo.identifier(), lower}), {});
}

std::optional<UTType> UTType::fromMIMEType(std::string_view mimeType) {
  mimeType = mimeType.substr(0, mimeType.find(';'));
  while (mimeType.ends_with(' ') || mimeType.ends_with('\t')) mimeType.remove_suffix(1);
  if (!detail::isMIMEType(mimeType)) return std::nullopt;
  return ofMIMEType(MIMEDatabase::shared().canonical(mimeType));
}

UTType UTType::ofContents(std::string_view fileName, std::span<const std::uint8_t> contents) {
  return ofMIMEType(MIMEDatabase::shared().typeOf(fileName, [&](std::size_t size) {
    const auto* const bytes = reinterpret_cast<const char*>(contents.data());
    return std::optional(std::string(bytes, std::min(size, contents.size())));
  }));
}

UTType UTType::ofFile(const URL& file) {
  if (!file.isFileURL()) throw URLError(URLError::Code::unsupportedURL);
  const std::string path = file.path();
  if (path.find('\0') != std::string::npos) throw POSIXError(EINVAL);
  struct stat status{};
  if (::stat(path.c_str(), &status) != 0) throw POSIXError::last();
  if (const std::string_view inode = typeOfInode(status.st_mode); !inode.empty()) return ofMIMEType(inode);
  return ofMIMEType(MIMEDatabase::shared().typeOf(
      file.lastPathComponent(), [&](std::size_t size) { return detail::beginningOfFile(path, size); }));
}

UTType UTType::ofMIMEType(std::string_view mimeType) {
  const auto* const known = detail::wellKnownTypeOfMIMEType(mimeType);
  return {identifierOf(mimeType), known != nullptr ? std::string(mimeType) : MIMEDatabase::shared().spelling(mimeType)};
}

UTType UTType::wellKnown(std::string_view identifier) {
  const auto* const known = detail::wellKnownType(identifier);
  if (known == nullptr) fatalError("A type that every system has is missing", "Tessaly/UTType", __LINE__);
  return {std::string(known->identifier), std::string(known->mimeType)};
}

UTType UTType::item() { return wellKnown("public.item"); }
UTType UTType::data() { return wellKnown("public.data"); }
UTType UTType::text() { return wellKnown("public.text"); }
UTType UTType::plainText() { return wellKnown("public.plain-text"); }
UTType UTType::image() { return wellKnown("public.image"); }
UTType UTType::audio() { return wellKnown("public.audio"); }
UTType UTType::movie() { return wellKnown("public.movie"); }
UTType UTType::folder() { return wellKnown("public.folder"); }

std::optional<std::string> UTType::preferredFilenameExtension() const {
  const auto* const known = detail::wellKnownType(identifier_);
  if (known != nullptr && !known->filenameExtension.empty()) return std::string(known->filenameExtension);
  const std::vector<std::string> all = filenameExtensions();
  if (all.empty()) return std::nullopt;
  return all.front();
}

std::vector<std::string> UTType::filenameExtensions() const {
  if (const auto dynamic = detail::dynamicType(identifier_)) return {dynamic->filenameExtension};
  std::vector<std::string> all;
  const auto* const known = detail::wellKnownType(identifier_);
  if (known != nullptr && !known->filenameExtension.empty()) all.emplace_back(known->filenameExtension);
  if (mimeType_.empty()) return all;
  for (std::string& extension : MIMEDatabase::shared().extensions(mimeType_)) addOnce(all, std::move(extension));
  return all;
}

std::optional<std::string> UTType::preferredMIMEType() const {
  if (mimeType_.empty()) return std::nullopt;
  return mimeType_;
}

std::vector<std::string> UTType::supertypeIdentifiers() const { return supertypesOf(identifier_); }

bool UTType::conformsTo(const UTType& other) const {
  std::vector<std::string> pending{identifier_};
  std::set<std::string> seen;
  while (!pending.empty()) {
    const std::string next = std::move(pending.back());
    pending.pop_back();
    if (next == other.identifier_) return true;
    if (!seen.insert(next).second) continue;
    for (std::string& supertype : supertypesOf(next)) pending.push_back(std::move(supertype));
  }
  return false;
}

bool UTType::isDynamic() const noexcept { return identifier_.starts_with(dynamicPrefix); }

std::ostream& operator<<(std::ostream& stream, const UTType& type) { return stream << type.identifier(); }

}  // namespace Tessaly::inline v1
