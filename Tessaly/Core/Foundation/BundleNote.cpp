// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/detail/BundleNote.hpp"

#include <link.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::string_view noteOwner("Tessaly\0", 8);
constexpr ElfW(Word) noteType = 1;

std::optional<std::string_view> takeText(std::string_view& description) noexcept {
  const std::size_t end = description.find('\0');
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view text = description.substr(0, end);
  description.remove_prefix(end + 1);
  return text;
}

BundleInformation parseDescription(std::string_view description) {
  BundleInformation facts;
  for (;;) {
    const auto key = takeText(description);
    const auto value = takeText(description);
    if (!key || !value) return facts;
    if (*key == "CFBundleIdentifier") {
      facts.identifier = *value;
    } else if (*key == "CFBundleShortVersionString") {
      facts.shortVersion = *value;
    } else if (*key == "CFBundleVersion") {
      facts.build = *value;
    } else if (*key == "CFBundleLocalizations") {
      facts.localizations.emplace_back(*value);
    } else {
      facts.information.emplace(*key, *value);
    }
  }
}

}  // namespace

std::optional<BundleInformation> findBundleNote(std::span<const std::byte> segment, std::size_t alignment) {
  // Parts are aligned to 4 bytes, or to 8 bytes in segments with an alignment of 8.
  const std::size_t unit = alignment == 8 ? 8 : 4;
  const auto aligned = [unit](std::size_t size) { return (size + unit - 1) / unit * unit; };
  ElfW(Nhdr) header;
  while (segment.size() >= sizeof header) {
    std::memcpy(&header, segment.data(), sizeof header);
    const std::size_t descriptionBegin = aligned(sizeof header + std::size_t{header.n_namesz});
    const std::size_t end = descriptionBegin + std::size_t{header.n_descsz};
    if (end > segment.size()) return std::nullopt;
    const std::string_view bytes(reinterpret_cast<const char*>(segment.data()), segment.size());
    if (header.n_type == noteType && bytes.substr(sizeof header, header.n_namesz) == noteOwner) {
      return parseDescription(bytes.substr(descriptionBegin, header.n_descsz));
    }
    segment = segment.subspan(std::min(aligned(end), segment.size()));
  }
  return std::nullopt;
}

std::optional<BundleInformation> readMainBundleNote() {
  std::optional<BundleInformation> found;
  const auto searchFirstObject = [](dl_phdr_info* object, std::size_t, void* context) {
    auto& result = *static_cast<std::optional<BundleInformation>*>(context);
    for (const ElfW(Phdr) & header : std::span(object->dlpi_phdr, object->dlpi_phnum)) {
      if (header.p_type != PT_NOTE || result) continue;
      const auto* begin = reinterpret_cast<const std::byte*>(object->dlpi_addr + header.p_vaddr);
      result = findBundleNote({begin, header.p_memsz}, header.p_align);
    }
    return 1;  // The main executable comes first; stop after it.
  };
  ::dl_iterate_phdr(searchFirstObject, &found);
  return found;
}

}  // namespace Tessaly::inline v1::detail
