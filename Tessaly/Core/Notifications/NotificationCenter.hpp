// SPDX-License-Identifier: MIT
// Component: Tessaly::Notifications
#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Object.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly::inline v1 {

/// An event that a notification centre reports: its name, the object that it concerns, if any, and further details.
///
/// Thread contract: thread-compatible.
///
///     Notification opened{.name = "DocumentDidOpen", .object = document};
struct Notification {
  std::string name;
  std::shared_ptr<Object> object = nullptr;
  std::map<std::string, std::any> userInfo = {};
};

/// Notifies observers of events by name. Sender and observer need not know each other.
///
/// Observers are called on the posting thread, in the order in which they were added. No lock is held, so an observer
/// may post, add and remove. The nearest facilities are Qt's signals and `boost::signals2`, with which an observer must
/// know the sender.
///
/// Thread contract: thread-safe.
///
///     NotificationCenter& center = NotificationCenter::default_();
///     auto token = center.addObserver("DocumentDidOpen", nullptr, [](const Notification& opened) {
///       addToMenu(opened.object);
///     });
///     center.post({.name = "DocumentDidOpen", .object = document});
///     center.removeObserver(token);
class TESSALY_EXPORT NotificationCenter {
 public:
  using Handler = std::function<void(const Notification&)>;
  /// Identifies an observer. No token is used a second time.
  enum class Token : std::uint64_t {};

  NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;
  ~NotificationCenter();

  /// The notification centre of this process.
  [[nodiscard]] static NotificationCenter& default_() noexcept;

  /// Adds a handler for the notifications with this name about this object. Without a name it is called for all names.
  /// With a null object it is called for all objects. The object is not kept alive. An exception of the handler stops
  /// the process.
  Token addObserver(std::optional<std::string> name, const std::shared_ptr<Object>& object, Handler handler);
  /// Removes an observer. No call of its handler begins afterwards, but one may still be running on another thread. An
  /// unknown token changes nothing.
  void removeObserver(Token token);

  /// Calls the observers of the notification that existed when `post` began and were not removed meanwhile.
  void post(const Notification& notification) const;

  class Notifications;
  /// The sequence of the notifications with this name that are posted from now on. They concern this object. A null
  /// object stands for any object.
  [[nodiscard]] Notifications notifications(std::string name, const std::shared_ptr<Object>& object = nullptr);

 private:
  struct Observer;
  struct State;
  static Token add(State& state, std::optional<std::string> name, const std::shared_ptr<Object>& object,
                   Handler handler);
  static void remove(State& state, Token token);

  std::shared_ptr<State> state_;
};

/// The sequence of the notifications that a notification centre posts after the sequence was made. The buffer is
/// unbounded. The sequence ends when the consuming task is cancelled, or when its last copy and iterator are destroyed.
/// Its iterators share the notifications: each notification goes to one of them.
///
/// Thread contract: thread-safe; an iterator is thread-compatible.
///
///     auto iterator = NotificationCenter::default_().notifications("DocumentDidOpen").makeAsyncIterator();
///     while (auto opened = co_await iterator.next()) addToMenu(opened->object);
class NotificationCenter::Notifications {
 public:
  using Element = Notification;
  using Failure = Never;
  using AsyncIterator = AsyncStream<Notification>::AsyncIterator;

  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return stream_.makeAsyncIterator(); }

 private:
  friend NotificationCenter;
  explicit Notifications(AsyncStream<Notification> stream) : stream_(std::move(stream)) {}

  AsyncStream<Notification> stream_;
};

}  // namespace Tessaly::inline v1
