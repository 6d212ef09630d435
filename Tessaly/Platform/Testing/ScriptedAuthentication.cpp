// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedAuthentication.hpp"

#include <utility>

namespace Tessaly::inline v1 {

class ScriptedAuthentication::Context final : public LAContext {
 public:
  explicit Context(ScriptedAuthentication& script) : script_(script) {}

  bool canEvaluatePolicy(LAPolicy policy, std::exception_ptr& error) override {
    {
      UnfairLock::Guard guard(script_.lock_);
      script_.possibilities.push_back(policy);
    }
    if (!script_.canEvaluate) error = script_.obstacle;
    return script_.canEvaluate;
  }
  void evaluatePolicy(LAPolicy policy, std::string localizedReason, Reply reply) override {
    {
      UnfairLock::Guard guard(script_.lock_);
      script_.questions.push_back({policy, std::move(localizedReason)});
    }
    script_.onEvaluate(std::move(reply));
  }

 private:
  ScriptedAuthentication& script_;
};

ScriptedAuthentication::~ScriptedAuthentication() = default;

ScriptedAuthentication::Snapshot ScriptedAuthentication::snapshot() const {
  UnfairLock::Guard guard(lock_);
  return {.contexts = contexts, .possibilities = possibilities, .questions = questions};
}

std::unique_ptr<LAContext> ScriptedAuthentication::makeContext() {
  {
    UnfairLock::Guard guard(lock_);
    ++contexts;
  }
  return std::make_unique<Context>(*this);
}

}  // namespace Tessaly::inline v1
