// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/MeteredWatch.hpp"

#include <systemd/sd-bus.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Platform/Linux/BusReplies.hpp"

namespace Tessaly::inline v1 {
namespace {

using namespace detail;  // Its functions of libsystemd hide the global ones.
using ExpenseSource = NWPath::ExpenseSource;

/// The names of a service on its bus. The question and the announcement of changes have one interface.
struct Names {
  detail::Bus bus;
  const char* service;
  const char* object;
  const char* interface;
  const char* announcement;
};

constexpr Names networkManager{detail::Bus::system, "org.freedesktop.NetworkManager", "/org/freedesktop/NetworkManager",
                               "org.freedesktop.DBus.Properties", "PropertiesChanged"};
constexpr Names portal{detail::Bus::session, "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                       "org.freedesktop.portal.NetworkMonitor", "changed"};

const Names& namesOf(MeteredWatch::Service service) {
  return service == MeteredWatch::Service::portal ? portal : networkManager;
}

constexpr std::chrono::seconds limit{2};

/// A daemon that has just started owns its name before its object exists. The watch asks at most this many times before
/// it concludes that the object does not exist.
constexpr int attempts = 15;
constexpr std::chrono::milliseconds pauseBetweenAttempts{100};

/// NetworkManager's `NMMetered`: the connection is metered, or NetworkManager guesses that it is.
constexpr std::uint32_t meteredYes = 1;
constexpr std::uint32_t meteredGuessYes = 3;

MeteredWatch::State stateFrom(std::uint32_t metered) {
  return {.isExpensive = metered == meteredYes || metered == meteredGuessYes, .source = ExpenseSource::networkManager};
}

MeteredWatch::State stateFrom(const detail::NetworkStatus& status) {
  return {.isExpensive = status.isMetered.value_or(false),
          .source = status.isMetered ? ExpenseSource::portal : ExpenseSource::wrongAnswer,
          .isAvailable = status.isAvailable};
}

/// The state that an answer gives. Nothing if the answer is an error or malformed.
std::optional<MeteredWatch::State> stateFrom(sd_bus_message* answer, MeteredWatch::Service service) {
  const auto state = [](const auto& read) { return read ? std::optional(stateFrom(*read)) : std::nullopt; };
  return service == MeteredWatch::Service::portal ? state(detail::readNetworkStatus(answer))
                                                  : state(detail::readNumberProperty(answer));
}

template <int (*function)(sd_bus_message*, void*, void*)>
int callback(sd_bus_message* message, void* self, sd_bus_error* error) {
  return function(message, self, error);
}

}  // namespace

std::shared_ptr<MeteredWatch> MeteredWatch::make(std::function<void()> onChange, Service service) {
  return std::make_shared<MeteredWatch>(Private(), std::move(onChange), service);
}

MeteredWatch::MeteredWatch(Private, std::function<void()> onChange, Service service)
    : onChange_(std::move(onChange)), service_(service) {}

MeteredWatch::~MeteredWatch() {
  if (source_ != nullptr) source_->cancel();
  if (bus_ == nullptr) return;
  sd_bus_slot_unref(call_);
  sd_bus_close_unref(bus_);
}

void MeteredWatch::connectIfNeeded() {
  {
    const UnfairLock::Guard guard(lock_);
    if (bus_ != nullptr || !connect()) return;
  }
  onChange_();
}

bool MeteredWatch::connect() {
  const Names& names = namesOf(service_);
  sd_bus* bus = nullptr;
  if (openBus(names.bus, &bus) < 0) return false;
  const std::string ownerRule = std::string(
                                    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
                                    "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='") +
                                names.service + '\'';
  const int owner = sd_bus_add_match_async(bus, nullptr, ownerRule.c_str(), callback<&didChangeOwner>, nullptr, this);
  const int changes = sd_bus_match_signal_async(bus, nullptr, names.service, names.object, names.interface,
                                                names.announcement, callback<&didChange>, nullptr, this);
  const int descriptor = sd_bus_get_fd(bus);
  if (owner < 0 || changes < 0 || descriptor < 0) {
    sd_bus_close_unref(bus);
    return false;
  }
  bus_ = bus;
  set({.source = ExpenseSource::asking});
  ask(bus);
  source_ = detail::DescriptorSource::make(descriptor, detail::blockingExecutor(), [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->process();
  });
  return true;
}

void MeteredWatch::process() {
  std::shared_ptr<detail::DescriptorSource> ended;
  sd_bus* bus = nullptr;
  {
    const UnfairLock::Guard guard(lock_);
    if (bus_ == nullptr) return;
    int result = 1;
    while (result > 0) result = sd_bus_process(bus_, nullptr);
    if (result < 0 || sd_bus_is_open(bus_) <= 0) {
      bus = std::exchange(bus_, nullptr);
      ended = std::move(source_);
      sd_bus_slot_unref(std::exchange(call_, nullptr));
      isAnswered_ = true;
      set({.source = ExpenseSource::noBus});
    }
  }
  if (bus != nullptr) {
    ended->cancel();
    sd_bus_close_unref(bus);
  }
  onChange_();
}

void MeteredWatch::ask(sd_bus* bus) {
  isAnswered_ = false;
  ++question_;
  attempts_ = 0;
  send(bus);
  if (isAnswered_) return;
  OS_dispatch_queue::global().asyncAfter(limit, [weak = weak_from_this(), question = question_] {
    if (const auto self = weak.lock()) self->giveUp(question);
  });
}

void MeteredWatch::send(sd_bus* bus) {
  sd_bus_message* message = nullptr;
  sd_bus_slot_unref(std::exchange(call_, nullptr));
  ++attempts_;
  const Names& names = namesOf(service_);
  const bool isPortal = service_ == Service::portal;
  const auto append = [&] { return isPortal ? 0 : sd_bus_message_append(message, "ss", names.service, "Metered"); };
  // The call has no time limit of the bus, because a late answer is better than none.
  const bool isAsked = sd_bus_message_new_method_call(bus, &message, names.service, names.object, names.interface,
                                                      isPortal ? "GetStatus" : "Get") >= 0 &&
                       append() >= 0 && sd_bus_message_set_auto_start(message, isPortal ? 1 : 0) >= 0 &&
                       sd_bus_call_async(bus, &call_, message, callback<&didAnswer>, this, UINT64_MAX) >= 0;
  sd_bus_message_unref(message);
  if (isAsked) return;
  isAnswered_ = true;
  set({.source = ExpenseSource::noAnswer});
}

void MeteredWatch::sendAgain(std::uint64_t question) {
  {
    const UnfairLock::Guard guard(lock_);
    if (bus_ == nullptr || question != question_ || isAnswered_) return;
    send(bus_);
    if (!isAnswered_) return;
  }
  onChange_();  // The question could not be sent.
}

void MeteredWatch::giveUp(std::uint64_t question) {
  {
    const UnfairLock::Guard guard(lock_);
    if (question != question_ || isAnswered_) return;
    set({.source = ExpenseSource::noAnswer});
  }
  onChange_();
}

void MeteredWatch::set(State state) { state_.store(state, std::memory_order_release); }

int MeteredWatch::didAnswer(sd_bus_message* message, void* self, void*) {
  auto& watch = *static_cast<MeteredWatch*>(self);
  if (const auto state = stateFrom(message, watch.service_)) {
    watch.isAnswered_ = true;
    watch.set(*state);
    return 0;
  }
  const sd_bus_error* const error = sd_bus_message_get_error(message);
  const CallFailure failure = error != nullptr ? detail::failureOf(error->name) : CallFailure::refused;
  if (failure == CallFailure::nothingThere && watch.attempts_ < attempts) {
    OS_dispatch_queue::global().asyncAfter(pauseBetweenAttempts,
                                           [weak = watch.weak_from_this(), question = watch.question_] {
                                             if (const auto self = weak.lock()) self->sendAgain(question);
                                           });
    return 0;
  }
  watch.isAnswered_ = true;
  switch (failure) {
    case CallFailure::noOwner:
      watch.set({.source = ExpenseSource::notRunning});
      break;
    case CallFailure::noAnswer:
      watch.set({.source = ExpenseSource::noAnswer});
      break;
    default:
      watch.set({.source = ExpenseSource::wrongAnswer});
  }
  return 0;
}

int MeteredWatch::didChange(sd_bus_message* message, void* self, void*) {
  auto& watch = *static_cast<MeteredWatch*>(self);
  if (watch.service_ == Service::networkManager) {
    const auto change = detail::readPropertyChange(message, networkManager.service, "Metered");
    if (change && change->kind == detail::PropertyChange::Kind::none) return 0;
    if (change && change->kind == detail::PropertyChange::Kind::value) {
      watch.isAnswered_ = true;
      watch.set(stateFrom(change->number));
      return 0;
    }
  }
  // The announcement has no value or a malformed one.
  watch.ask(sd_bus_message_get_bus(message));
  return 0;
}

int MeteredWatch::didChangeOwner(sd_bus_message* message, void* self, void*) {
  auto& watch = *static_cast<MeteredWatch*>(self);
  const auto change = detail::readOwnerChange(message);
  if (!change) return 0;
  if (!change->next.empty()) {
    watch.set({.source = ExpenseSource::asking});
    watch.ask(sd_bus_message_get_bus(message));
    return 0;
  }
  sd_bus_slot_unref(std::exchange(watch.call_, nullptr));
  watch.isAnswered_ = true;
  watch.set({.source = ExpenseSource::notRunning});
  return 0;
}

}  // namespace Tessaly::inline v1
