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
#include <utility>
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

/// A centre that passes notifications of named events to observers. Sender and observer need not know each other.
///
/// Observers are called on the posting thread, in the order in which they were added. No lock is held, so an observer
/// may post, and may add and remove observers. The nearest facilities are Qt's signals and `boost::signals2`, with
/// which an observer must know the sender.
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
  /// Identifies an observer of one centre. A centre never uses a token twice.
  enum class Token : std::uint64_t {};

  NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;
  ~NotificationCenter();

  /// The notification centre of this process.
  [[nodiscard]] static NotificationCenter& default_() noexcept;

  /// Adds a handler for the notifications with this name about this object. Without a name, the handler is called for
  /// all names. With a null object, it is called for all objects, and for notifications without an object. The centre
  /// does not keep the object alive. It keeps the handler until `removeObserver` is called with the returned token. An
  /// exception of the handler stops the process.
  Token addObserver(std::optional<std::string> name, const std::shared_ptr<Object>& object, Handler handler);
  /// Removes an observer. Later posts do not call its handler, and neither does a post that is running on this thread.
  /// A post on another thread may still be calling the handler, or be about to call it. An unknown token changes
  /// nothing.
  void removeObserver(Token token);

  /// Calls the observers that match the notification and existed when `post` began, in the order in which they were
  /// added. Skips an observer that is removed before its call.
  void post(const Notification& notification) const;

  class Notifications;
  /// The sequence of the notifications that are posted from now on with this name and about this object. With a null
  /// object, the sequence has the notifications about all objects, and those without an object.
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
/// unbounded. The sequence ends when a consuming task is cancelled, or when the last copy and the last iterator of the
/// sequence are destroyed. The end of the notification centre does not end the sequence: its consumers continue to
/// wait. The iterators share the notifications: each notification goes to one of them.
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
