// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Notifications/NotificationCenter.hpp"

namespace Tessaly {

void addToMenu(std::shared_ptr<Object> document);

void showNotificationCenter(std::shared_ptr<Object> document) {
  // clang-format off
  Notification opened{.name = "DocumentDidOpen", .object = document};

  NotificationCenter& center = NotificationCenter::default_();
  auto token = center.addObserver("DocumentDidOpen", nullptr, [](const Notification& opened) {
    addToMenu(opened.object);
  });
  center.post({.name = "DocumentDidOpen", .object = document});
  center.removeObserver(token);
  // clang-format on
}

Async<void> showNotifications() {
  auto iterator = NotificationCenter::default_().notifications("DocumentDidOpen").makeAsyncIterator();
  while (auto opened = co_await iterator.next()) addToMenu(opened->object);
}

}  // namespace Tessaly
