// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <typeinfo>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// An argument that names a type: `Logger::make("Export", Type<Exporter>())`.
template <typename T>
struct Type {};

/// The unqualified name of a type, without its namespaces and enclosing types (`Exporter`, `RingArray<int>`). Template
/// arguments are in the compiler's form. The result is a compile-time constant.
///
/// Thread contract: thread-safe.
template <typename T>
[[nodiscard]] consteval std::string_view typeName(Type<T> = {}) {
#if defined(__clang__)
  std::string_view name = __PRETTY_FUNCTION__;
  name.remove_prefix(name.find("[T = ") + 5);
  name.remove_suffix(1);
#else
  std::string_view name = __PRETTY_FUNCTION__;
  name.remove_prefix(name.find("[with T = ") + 10);
  name = name.substr(0, name.rfind("; std::string_view = "));
#endif
  std::size_t begin = 0;
  int depth = 0;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] == '<' || name[i] == '(') ++depth;
    if (name[i] == '>' || name[i] == ')') --depth;
    if (depth == 0 && name[i] == ':') begin = i + 1;
  }
  return name.substr(begin);
}

/// The full name of a type at run time, with dots between its parts and without the library's version namespace
/// (`Tessaly.Int32.StatusError`). Allocates.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string qualifiedTypeName(const std::type_info& type);

/// The last part of `qualifiedTypeName`. Allocates.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string unqualifiedTypeName(const std::type_info& type);

}  // namespace Tessaly::inline v1
