// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/detail/GlobPattern.hpp"

#include <fnmatch.h>
#include <locale.h>

namespace Tessaly::inline v1::detail {

bool GlobPattern::fits(const std::string& pattern, const std::string& name) noexcept {
  // A C string would end at a NUL.
  if (name.contains('\0') || pattern.contains('\0')) return false;
  // Names are compared as bytes in every locale. Only the locale of this thread changes, during the call.
  static const locale_t bytewise = ::newlocale(LC_ALL_MASK, "C", nullptr);
  const locale_t previous = ::uselocale(bytewise);
  const bool result = ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
  ::uselocale(previous);
  return result;
}

}  // namespace Tessaly::inline v1::detail
