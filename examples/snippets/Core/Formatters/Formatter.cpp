// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/Formatter.hpp"

#include "Tessaly/Core/Text/CaseMapping.hpp"

namespace Tessaly {

void showFormatter() {
  class UpperCase final : public Formatter {
   public:
    std::optional<std::string> string(const std::any& object) const override {
      return text(object).transform(Text::uppercased);
    }
    bool getObjectValue(std::any* object, std::string_view text, std::optional<std::string>*) override {
      if (object != nullptr) *object = Text::uppercased(text);
      return true;
    }
  };
}

}  // namespace Tessaly
