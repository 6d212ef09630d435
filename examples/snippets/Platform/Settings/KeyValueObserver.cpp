// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/KeyValueObserver.hpp"

namespace Tessaly {

void redraw();

void showObserver() {
  class Redrawer final : public KeyValueObserver {
   public:
    void observeValue(std::optional<std::string_view> keyPath, const Object* object,
                      const std::optional<KeyValueChange>& change, void* context) override {
      if (keyPath == "theme") redraw();
    }
  };
}

}  // namespace Tessaly
