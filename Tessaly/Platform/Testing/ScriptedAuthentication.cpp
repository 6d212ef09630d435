// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedAuthentication.hpp"

#include <utility>

namespace Tessaly::inline v1 {
namespace {

class ScriptedContext final : public LAContext {
 public:
  explicit ScriptedContext(ScriptedAuthentication& script) : script_(script) {}

  bool canEvaluatePolicy(LAPolicy policy, std::exception_ptr& error) override {
    script_.possibilities.push_back(policy);
    if (!script_.canEvaluate) error = script_.obstacle;
    return script_.canEvaluate;
  }
  void evaluatePolicy(LAPolicy policy, std::string localizedReason, Reply reply) override {
    script_.questions.push_back({policy, std::move(localizedReason)});
    script_.onEvaluate(std::move(reply));
  }

 private:
  ScriptedAuthentication& script_;
};

}  // namespace

ScriptedAuthentication::~ScriptedAuthentication() = default;

std::unique_ptr<LAContext> ScriptedAuthentication::makeContext() {
  ++contexts;
  return std::make_unique<ScriptedContext>(*this);
}

}  // namespace Tessaly::inline v1
