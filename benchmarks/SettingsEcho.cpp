// SPDX-License-Identifier: MIT
// The second process of our side in the settings benchmark. It answers each change of "ping" with the same value under
// "pong".
#include <unistd.h>

#include <memory>

#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

namespace {

class Echo final : public Tessaly::KeyValueObserver {
 public:
  void observeValue(std::optional<std::string_view>, const Tessaly::Object* object,
                    const std::optional<Tessaly::KeyValueChange>& change, void*) override {
    auto& store = const_cast<Tessaly::UserDefaults&>(static_cast<const Tessaly::UserDefaults&>(*object));
    if (*change->newValue) store.set(**change->newValue, "pong");
  }
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const auto store = Tessaly::JournaledUserDefaults::open({.folder = arguments[1]});
  const auto echo = std::make_shared<Echo>();
  store->addObserver(echo, "ping", Tessaly::KeyValueObservingOptions::newValue, nullptr);
  store->set(true, "ready");
  char end = 0;
  return ::read(0, &end, 1) == 0 ? 0 : 1;  // Runs until the starting process closes the pipe.
}
