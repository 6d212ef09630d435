// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/BusPower.hpp"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Platform/Linux/BusConnection.hpp"
#include "Tessaly/Platform/Linux/BusReplies.hpp"
#include "Tessaly/Platform/Linux/Inhibitor.hpp"
#include "Tessaly/Platform/Linux/Sandbox.hpp"

namespace Tessaly::inline v1 {
namespace detail {
namespace {

std::string applicationName(const std::optional<Sandbox>& sandbox) {
  if (const auto& identifier = Bundle::main().bundleIdentifier()) return *identifier;
  if (sandbox && !sandbox->application.empty()) return sandbox->application;
  return ProcessInfo::processInfo().processName();
}

/// The pause before the services are asked again while no service holds the assertion and a bus is not connected.
constexpr int retryMilliseconds = 5000;

PowerProblem problemOf(const BusReply& reply, const BusConnection& bus) {
  if (!bus.isOpen()) return PowerProblem::noBus;
  if (reply.result == -ETIMEDOUT) return PowerProblem::notAnswering;
  if (reply.errorName.empty()) return PowerProblem::wrongReply;
  switch (failureOf(reply.errorName)) {
    case CallFailure::noOwner:
      return PowerProblem::noOwner;
    case CallFailure::noAnswer:
      return PowerProblem::notAnswering;
    default:
      return PowerProblem::refused;
  }
}

}  // namespace

/// One assertion: the service that holds it, and the data to release it.
///
/// Until the assertion is released, its own thread watches the buses. When the service ends, the thread asks all
/// services again.
class DisplayInhibition : public std::enable_shared_from_this<DisplayInhibition> {
 public:
  explicit DisplayInhibition(std::string reason) : DisplayInhibition(std::move(reason), readSandbox()) {}

  /// Asks the services in turn. Returns whether one of them keeps the display awake.
  bool acquire() {
    {
      const UnfairLock::Guard guard(lock_);
      if (!askAll()) {
        for (BusConnection& connection : connections_) connection.close();
        return false;
      }
    }
    detail::startLibraryThread("tessaly-power", [self = shared_from_this()] { self->watch(); });
    return true;
  }

  /// Returns 0 or a system error code.
  std::int32_t release() {
    const UnfairLock::Guard guard(lock_);
    if (isReleased_) return ENOENT;
    const std::int32_t error = undo();
    if (error == 0) {
      isReleased_ = true;
      status_.service = PowerService::none;
      holder_ = nullptr;
      inhibition_ = {};
    }
    // The wake-up makes the thread end, or process messages that arrived with the answer.
    ::eventfd_write(wake_.get(), 1);
    return error;
  }

  [[nodiscard]] PowerStatus status() const {
    const UnfairLock::Guard guard(lock_);
    return status_;
  }

 private:
  DisplayInhibition(std::string reason, const std::optional<Sandbox>& sandbox)
      : reason_(std::move(reason)),
        application_(applicationName(sandbox)),
        inhibitors_(inhibitors(sandbox ? Surroundings::sandbox : Surroundings::open)),
        wake_(::eventfd(0, EFD_CLOEXEC)) {}

  static int index(Bus bus) noexcept { return static_cast<int>(bus); }
  BusConnection& connection(Bus bus) TESSALY_REQUIRES(lock_) { return connections_[index(bus)]; }

  bool askAll() TESSALY_REQUIRES(lock_) {
    status_ = {};
    // The former inhibition is kept until there is a new one, so that the display stays awake in between.
    const Inhibition former = std::exchange(inhibition_, {});
    int reached[2];
    for (Bus bus : {Bus::session, Bus::system}) reached[index(bus)] = -EINPROGRESS;
    for (const Inhibitor& inhibitor : inhibitors_) {
      int& result = reached[index(inhibitor.bus)];
      if (result == -EINPROGRESS) result = reach(inhibitor.bus);
      holder_ = &inhibitor;
      PowerStatus::Attempt attempt = ask(inhibitor, result);
      const bool isHeld = attempt.problem == PowerProblem::none;
      if (result == 0 && attempt.problem == PowerProblem::notAnswering) {
        // The service may still answer. It would then keep the display awake as long as this connection is open.
        connection(inhibitor.bus).close();
        result = -EINPROGRESS;
      }
      status_.attempts.push_back(std::move(attempt));
      if (!isHeld) continue;
      status_.service = inhibitor.service;
      return true;
    }
    holder_ = nullptr;
    return false;
  }

  PowerStatus::Attempt ask(const Inhibitor& inhibitor, int reached) TESSALY_REQUIRES(lock_) {
    PowerStatus::Attempt attempt{.service = inhibitor.service};
    if (reached < 0) {
      attempt.problem = reached == -ETIMEDOUT ? PowerProblem::notAnswering : PowerProblem::noBus;
      return attempt;
    }
    BusConnection& bus = connection(inhibitor.bus);
    owner_ = bus.ownerOf(inhibitor.name);
    if (owner_.empty() && inhibitor.service == PowerService::portal) {
      bus.startOwnerOf(inhibitor.name);
      owner_ = bus.ownerOf(inhibitor.name);
    }
    if (owner_.empty()) {
      attempt.problem = bus.isOpen() ? PowerProblem::noOwner : PowerProblem::noBus;
      return attempt;
    }
    const BusReply reply = bus.call(makeInhibit(inhibitor, bus, owner_, application_, reason_));
    if (reply.result < 0) {
      attempt.problem = problemOf(reply, bus);
      attempt.message = reply.errorMessage;
    } else if (auto taken = readInhibition(inhibitor, reply.message.get()); !taken) {
      attempt.problem = PowerProblem::wrongReply;
      attempt.message = description(taken.error());
    } else {
      inhibition_ = std::move(*taken);
      if (inhibitor.service == PowerService::portal) awaitResponse(bus, attempt);
    }
    return attempt;
  }

  /// The portal's reply only names a request. A signal of the request says whether it was granted.
  void awaitResponse(BusConnection& bus, PowerStatus::Attempt& attempt) TESSALY_REQUIRES(lock_) {
    response_.reset();
    const int result = bus.processUntil([this]() TESSALY_NO_THREAD_SAFETY_ANALYSIS { return response_ || mustAsk_; });
    if (std::exchange(mustAsk_, false) || result == -ETIMEDOUT) {  // The portal ended, or is silent.
      attempt.problem = PowerProblem::notAnswering;
    } else if (result < 0) {
      attempt.problem = PowerProblem::noBus;
    } else if (!*response_) {
      attempt.problem = PowerProblem::wrongReply;
      attempt.message = description(response_->error());
    } else if (response_->value() != 0) {
      attempt.problem = PowerProblem::refused;
      attempt.message = "the response is " + std::to_string(response_->value());
    }
  }

  /// Connects, unless the connection is open, and subscribes to changes of name owners.
  int reach(Bus which) TESSALY_REQUIRES(lock_) {
    BusConnection& bus = connection(which);
    if (bus.isOpen()) return 0;
    if (const int result = bus.open(which); result < 0) return result;
    for (const Inhibitor& inhibitor : inhibitors_) {
      if (inhibitor.bus != which) continue;
      const std::string rule = std::string(
                                   "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
                                   "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='") +
                               inhibitor.name + '\'';
      int result = sd_bus_add_match(bus.get(), nullptr, rule.c_str(), &ownerChanged, this);
      if (result >= 0 && inhibitor.service == PowerService::portal) {
        result = sd_bus_match_signal(bus.get(), nullptr, inhibitor.name, nullptr, "org.freedesktop.portal.Request",
                                     "Response", &responded, this);
      }
      if (result < 0) {
        bus.close();
        return result;
      }
    }
    return 0;
  }

  static int ownerChanged(sd_bus_message* message, void* self, sd_bus_error*) {
    static_cast<DisplayInhibition*>(self)->noteOwner(message);
    return 0;
  }

  /// Called while messages are processed, so the lock is held.
  void noteOwner(sd_bus_message* message) TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    const auto change = readOwnerChange(message);
    if (!change) return;
    // A service appeared while no service held the assertion, or the holder disappeared.
    if (holder_ == nullptr ? !change->next.empty() : change->name == holder_->name && owner_ == change->former)
      mustAsk_ = true;
  }

  static int responded(sd_bus_message* message, void* self, sd_bus_error*) {
    static_cast<DisplayInhibition*>(self)->noteResponse(message);
    return 0;
  }

  /// Called while messages are processed, so the lock is held. The first response to the request counts.
  void noteResponse(sd_bus_message* message) TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    const char* const sender = sd_bus_message_get_sender(message);
    const char* const path = sd_bus_message_get_path(message);
    if (response_ || sender == nullptr || path == nullptr) return;
    if (owner_ == sender && inhibition_.request == path) response_ = readNumber(message);
  }

  void watch() {
    for (;;) {
      pollfd descriptors[3] = {{wake_.get(), POLLIN, 0}, {-1, POLLIN, 0}, {-1, POLLIN, 0}};
      int timeout = -1;
      {
        const UnfairLock::Guard guard(lock_);
        if (!isReleased_) processAll();
        if (isReleased_) {
          for (BusConnection& connection : connections_) connection.close();
          return;
        }
        for (Bus bus : {Bus::session, Bus::system}) {
          if (connection(bus).isOpen()) {
            descriptors[1 + index(bus)].fd = sd_bus_get_fd(connection(bus).get());
          } else if (holder_ == nullptr) {
            timeout = retryMilliseconds;
          }
        }
      }
      // Only this thread closes the connections.
      if (::poll(descriptors, 3, timeout) == 0) {
        const UnfairLock::Guard guard(lock_);
        mustAsk_ = true;
      }
      if (descriptors[0].revents != 0) {
        eventfd_t ignored = 0;
        ::eventfd_read(wake_.get(), &ignored);
      }
    }
  }

  /// Processes the messages of the buses, and asks the services again if they changed.
  void processAll() TESSALY_REQUIRES(lock_) {
    do {
      if (std::exchange(mustAsk_, false)) askAll();
      for (Bus which : {Bus::session, Bus::system}) {
        BusConnection& bus = connection(which);
        if (bus.get() == nullptr) continue;
        int result = 0;
        while ((result = sd_bus_process(bus.get(), nullptr)) > 0) {
        }
        if (result >= 0 && bus.isOpen()) continue;
        bus.close();
        if (holder_ != nullptr && holder_->bus == which) mustAsk_ = true;
      }
    } while (mustAsk_);
  }

  std::int32_t undo() TESSALY_REQUIRES(lock_) {
    // The inhibition ended with its service or bus.
    if (holder_ == nullptr || holder_->service == PowerService::login || !connection(holder_->bus).isOpen()) return 0;
    BusConnection& bus = connection(holder_->bus);
    const BusMessage message = makeRelease(*holder_, bus, owner_, inhibition_);
    if (message == nullptr) return EINVAL;
    const BusReply reply = bus.call(message);
    if (reply.result >= 0 || !bus.isOpen()) return 0;
    switch (problemOf(reply, bus)) {
      case PowerProblem::noOwner:
      case PowerProblem::notAnswering:  // The service ends the inhibition when this connection closes.
        return 0;
      default:
        return -reply.result;
    }
  }

  const std::string reason_;
  const std::string application_;
  const std::span<const Inhibitor> inhibitors_;
  const OwnedDescriptor wake_;
  mutable UnfairLock lock_;
  BusConnection connections_[2] TESSALY_GUARDED_BY(lock_);
  const Inhibitor* holder_ TESSALY_GUARDED_BY(lock_) = nullptr;
  std::string owner_ TESSALY_GUARDED_BY(lock_);
  Inhibition inhibition_ TESSALY_GUARDED_BY(lock_);
  /// The portal's first response to the request of `inhibition_`.
  std::optional<std::expected<std::uint32_t, ReplyProblem>> response_ TESSALY_GUARDED_BY(lock_);
  PowerStatus status_ TESSALY_GUARDED_BY(lock_);
  bool mustAsk_ TESSALY_GUARDED_BY(lock_) = false;
  bool isReleased_ TESSALY_GUARDED_BY(lock_) = false;
};

}  // namespace detail

BusPower::BusPower() = default;

BusPower::~BusPower() {
  for (const auto& [identifier, assertion] : assertions_) assertion->release();
}

std::int32_t BusPower::createAssertion(std::string_view type, std::uint32_t level, std::string_view reason,
                                       std::uint32_t& identifier) {
  detail::stopIfForkedChild();
  if (type != noDisplaySleep || level != levelOn) return ENOTSUP;
  auto assertion = std::make_shared<detail::DisplayInhibition>(std::string(reason));
  const bool isHeld = assertion->acquire();
  const UnfairLock::Guard guard(lock_);
  latest_ = isHeld ? assertion : nullptr;
  if (!isHeld) {
    lastStatus_ = assertion->status();
    return ENODEV;
  }
  identifier = ++lastIdentifier_;
  assertions_.emplace(identifier, std::move(assertion));
  return 0;
}

std::int32_t BusPower::releaseAssertion(std::uint32_t identifier) {
  detail::stopIfForkedChild();
  std::shared_ptr<detail::DisplayInhibition> assertion;
  {
    const UnfairLock::Guard guard(lock_);
    const auto found = assertions_.find(identifier);
    if (found == assertions_.end()) return ENOENT;
    assertion = found->second;
  }
  if (const std::int32_t error = assertion->release()) return error;
  const UnfairLock::Guard guard(lock_);
  assertions_.erase(identifier);
  if (latest_ == assertion) {
    // The status is kept without the assertion, because an assertion keeps a descriptor open.
    lastStatus_ = assertion->status();
    latest_ = nullptr;
  }
  return 0;
}

PowerStatus BusPower::status() const {
  std::shared_ptr<detail::DisplayInhibition> latest;
  {
    const UnfairLock::Guard guard(lock_);
    if (latest_ == nullptr) return lastStatus_;
    latest = latest_;
  }
  return latest->status();
}

PowerBackend& PowerBackend::system() {
  static auto& backend = *new BusPower;
  return backend;
}

}  // namespace Tessaly::inline v1
