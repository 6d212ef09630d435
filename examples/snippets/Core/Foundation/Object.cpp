// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Object.hpp"

namespace Tessaly {

void showObject() {
  class Recorder final : public Object {
   public:
    std::string_view className() const noexcept override { return "Studio.Recorder"; }
  };
  Object::registerClass("Studio.Recorder", [] { return std::shared_ptr<Object>(std::make_shared<Recorder>()); });
  std::shared_ptr<Object> recorder = Object::make("Studio.Recorder");
}

}  // namespace Tessaly
