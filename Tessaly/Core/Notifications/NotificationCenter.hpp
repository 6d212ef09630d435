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

/// Something that has happened, as a notification centre tells it: its name, the object that it happened to, if any,
/// and what else there is to say.
///
/// Thread contract: thread-compatible.
///
///     Notification opened{.name = "DocumentDidOpen", .object = document};
struct Notification {
  std::string name;
  std::shared_ptr<Object> object = nullptr;
  std::map<std::string, std::any> userInfo = {};
};

/// Tells whoever wants to know what has happened, by name, without the two knowing each other.
///
/// Observers are called on the posting thread, in the order in which they were added, with no lock held; each may post,
/// add and remove. The nearest facilities elsewhere are Qt's signals and `boost::signals2`, where an observer must know
/// the sender.
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
  /// Names an observer. Never used twice.
  enum class Token : std::uint64_t {};

  NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;
  ~NotificationCenter();

  /// The one of this process.
  [[nodiscard]] static NotificationCenter& default_() noexcept;

  /// Has the handler called for notifications of this name, all if there is none, about this object, any if it is null.
  /// The object is not kept alive. A throw out of the handler stops the process.
  Token addObserver(std::optional<std::string> name, const std::shared_ptr<Object>& object, Handler handler);
  /// No call of the handler begins after this, but one may be running on another thread. An unknown token changes
  /// nothing.
  void removeObserver(Token token);

  /// Calls the observers, those that were there when the call began and were not removed meanwhile.
  void post(const Notification& notification) const;

  class Notifications;
  /// The notifications of this name, about this object, any if it is null, from now on.
  [[nodiscard]] Notifications notifications(std::string name, const std::shared_ptr<Object>& object = nullptr);

 private:
  struct Observer;
  struct State;
  static Token add(State& state, std::optional<std::string> name, const std::shared_ptr<Object>& object,
                   Handler handler);
  static void remove(State& state, Token token);

  std::shared_ptr<State> state_;
};

/// The sequence of a notification centre's notifications, from when it was made. It has an unbounded buffer and ends
/// only by its consumer: a task that is cancelled, or the last copy and iterator that goes. Its iterators share the
/// notifications: each goes to one of them.
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
