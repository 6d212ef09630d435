// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string_view>

namespace TessalyTool {

/// A file of the template of an application, as in examples/template.
struct TemplateFile {
  std::string_view name;
  std::string_view text;
};

[[nodiscard]] std::span<const TemplateFile> templateFiles() noexcept;

}  // namespace TessalyTool
