// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/TypeName.hpp"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace Tessaly::inline v1 {
namespace {

void replaceAll(std::string& text, std::string_view pattern, std::string_view replacement) {
  for (std::size_t at = 0; (at = text.find(pattern, at)) != std::string::npos; at += replacement.size()) {
    text.replace(at, pattern.size(), replacement);
  }
}

}  // namespace

std::string qualifiedTypeName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> demangled(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  std::string name = status == 0 ? demangled.get() : type.name();
  replaceAll(name, "Tessaly::v1::", "Tessaly::");
  replaceAll(name, "::", ".");
  return name;
}

std::string unqualifiedTypeName(const std::type_info& type) {
  std::string name = qualifiedTypeName(type);
  std::size_t begin = 0;
  int depth = 0;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] == '<' || name[i] == '(') ++depth;
    if (name[i] == '>' || name[i] == ')') --depth;
    if (depth == 0 && name[i] == '.') begin = i + 1;
  }
  return name.substr(begin);
}

}  // namespace Tessaly::inline v1
