// SPDX-License-Identifier: MIT
// Any bytes replace one file of a database of types, or a name and contents; the first byte decides which. The type of
// a file is always one with a name, and the identifier of an extension parses again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Foundation/detail/GlobPattern.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEDatabase.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEText.hpp"
#include "Tessaly/Core/Foundation/detail/TypeIdentifiers.hpp"

namespace {

using Tessaly::detail::isMIMEType;
using Tessaly::detail::MIMEDatabase;

void require(bool condition) {
  if (!condition) std::abort();
}

void requireTypes(const MIMEDatabase::Types& types) {
  for (const std::string& type : types) require(isMIMEType(type));
}

/// Asks every question, with names and contents from the bytes themselves.
void ask(const MIMEDatabase& database, std::string_view bytes) {
  const std::string_view name = bytes.substr(bytes.size() / 2);
  requireTypes(database.typesOfName(name));
  requireTypes(database.typesOfName("name.txt"));
  const auto types = database.typesOfExtension(name.substr(0, 8));
  requireTypes(types);
  for (const std::string& type : types) {
    requireTypes(database.parents(type));
    require(database.isKindOf(type, type));
    for (const std::string& extension : database.extensions(type)) require(!extension.empty());
  }
  static_cast<void>(database.canonical(name));
  const std::string guessed = database.typeOf(name, [&](std::size_t size) {
    require(size <= std::size_t{64} << 10);
    return std::optional(std::string(bytes.substr(0, size)));
  });
  require(!guessed.empty());
}

void readBack(std::string_view bytes) {
  if (const auto type = Tessaly::detail::dynamicType(bytes)) {
    require(Tessaly::detail::dynamicIdentifier(*type) == bytes);
  }
  const std::string extension(bytes);
  if (extension.empty() || extension.find('\0') != std::string::npos) return;
  const Tessaly::detail::DynamicType type{"public.data", extension};
  require(Tessaly::detail::dynamicType(Tessaly::detail::dynamicIdentifier(type)) == type);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // A copy on the heap of the exact size, so that a sanitizer reports a read beyond the end.
  const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string_view half = std::string_view(bytes).substr(0, bytes.size() / 2);
  MIMEDatabase database{{}};
  switch (data[0] % 6) {
    case 0:
      database.addGlobs(bytes);
      database.addGlobs(half);
      break;
    case 1:
      database.addMagic(bytes);
      database.addMagic(half);
      break;
    case 2:
      database.addSubclasses(bytes);
      database.addAliases(bytes);
      database.addTypes(bytes);
      database.addGlobs("50:a/b:*.txt\n");
      break;
    case 3:
      for (const std::string& pattern : MIMEDatabase::patterns(bytes)) {
        require(pattern.size() <= bytes.size());
        static_cast<void>(Tessaly::detail::GlobPattern::fits(pattern, bytes));
      }
      break;
    case 4:
      require(Tessaly::detail::GlobPattern::fits("*", bytes) != bytes.contains('\0'));
      static_cast<void>(Tessaly::detail::GlobPattern::fits(std::string(half), bytes));
      break;
    default:
      readBack(bytes);
  }
  ask(database, bytes);
  return 0;
}
