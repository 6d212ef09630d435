// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/WaylandSelection.hpp"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Platform/Linux/SelectionThread.hpp"
#include "Tessaly/Platform/Linux/WaylandLibrary.hpp"

namespace Tessaly::inline v1::detail {
namespace {

// The tables of the protocols ext-data-control-v1 and wlr-data-control-unstable-v1, version 2. No package contains
// them. They differ in their names. The second protocol has the primary selection only since version 2.

struct ExtNames {
  static constexpr const char* manager = "ext_data_control_manager_v1";
  static constexpr const char* device = "ext_data_control_device_v1";
  static constexpr const char* source = "ext_data_control_source_v1";
  static constexpr const char* offer = "ext_data_control_offer_v1";
  static constexpr int version = 1;
  static constexpr const char* primary = "?o";
};
struct WlrNames {
  static constexpr const char* manager = "zwlr_data_control_manager_v1";
  static constexpr const char* device = "zwlr_data_control_device_v1";
  static constexpr const char* source = "zwlr_data_control_source_v1";
  static constexpr const char* offer = "zwlr_data_control_offer_v1";
  static constexpr int version = 2;
  static constexpr const char* primary = "2?o";
};

struct Protocol {
  const wl_interface& manager;
  const wl_interface& device;
  const wl_interface& source;
};

// The library takes non-constant types, but does not change them.
constexpr wl_message message(const char* name, const char* signature, const wl_interface* const* types) {
  return {name, signature, const_cast<const wl_interface**>(types)};
}

template <typename Names>
struct Tables {
  static const wl_interface manager;
  static const wl_interface device;
  static const wl_interface source;
  static const wl_interface offer;

  static constexpr const wl_interface* noTypes[] = {nullptr, nullptr};
  static constexpr const wl_interface* sourceTypes[] = {&source};
  static constexpr const wl_interface* offerTypes[] = {&offer};
  // A null pointer permits any type. The table of the seat is known only after the library is loaded.
  static constexpr const wl_interface* getDeviceTypes[] = {&device, nullptr};

  static constexpr wl_message managerRequests[] = {message("create_data_source", "n", sourceTypes),
                                                   message("get_data_device", "no", getDeviceTypes),
                                                   message("destroy", "", noTypes)};
  static constexpr wl_message deviceRequests[] = {message("set_selection", "?o", sourceTypes),
                                                  message("destroy", "", noTypes),
                                                  message("set_primary_selection", Names::primary, sourceTypes)};
  static constexpr wl_message deviceEvents[] = {
      message("data_offer", "n", offerTypes), message("selection", "?o", offerTypes), message("finished", "", noTypes),
      message("primary_selection", Names::primary, offerTypes)};
  static constexpr wl_message sourceRequests[] = {message("offer", "s", noTypes), message("destroy", "", noTypes)};
  static constexpr wl_message sourceEvents[] = {message("send", "sh", noTypes), message("cancelled", "", noTypes)};
  static constexpr wl_message offerRequests[] = {message("receive", "sh", noTypes), message("destroy", "", noTypes)};
  static constexpr wl_message offerEvents[] = {message("offer", "s", noTypes)};

  static constexpr Protocol protocol{manager, device, source};
};

template <typename Names>
constinit const wl_interface Tables<Names>::manager = {Names::manager, Names::version, 3, managerRequests, 0, nullptr};
template <typename Names>
constinit const wl_interface Tables<Names>::device = {Names::device, Names::version, 3, deviceRequests, 4,
                                                      deviceEvents};
template <typename Names>
constinit const wl_interface Tables<Names>::source = {Names::source, 1, 2, sourceRequests, 2, sourceEvents};
template <typename Names>
constinit const wl_interface Tables<Names>::offer = {Names::offer, 1, 2, offerRequests, 1, offerEvents};

constexpr const Protocol* protocols[] = {&Tables<ExtNames>::protocol, &Tables<WlrNames>::protocol};

enum ManagerRequest : std::uint8_t { createSource, getDevice };
enum DeviceRequest : std::uint8_t { setSelection };
enum SourceRequest : std::uint8_t { offerForm, destroySource };
enum OfferRequest : std::uint8_t { destroyOffer = 1 };

using Listener = void (*)();

class WaylandSelection final : public SelectionThread {
 private:
  /// The contents of one offer.
  struct Source {
    WaylandSelection& selection;
    PasteboardContents contents;
    wl_proxy* proxy;
  };

  /// A transfer of contents through a pipe.
  struct Transfer {
    OwnedDescriptor pipe;
    std::shared_ptr<const std::string> bytes;
    std::size_t sent;
  };

  void run(std::promise<PasteboardProblem> connected) override {
    display_ = waylandLibrary.isLoaded() ? wl_display_connect(nullptr) : nullptr;
    if (display_ == nullptr || !prepare()) {
      if (display_ != nullptr) disconnect();
      connected.set_value(PasteboardProblem::noDisplay);
      return;
    }
    connected.set_value(PasteboardProblem::none);
    while (!isLost() && !isFinished_ && wl_display_get_error(display_) == 0) {
      while (const std::shared_ptr<Offer> offer = nextOffer()) own(*offer);
      waitForMore();
    }
    disconnect();
  }

  void disconnect() {
    transfers_.clear();
    for (const auto& source : sources_) wl_proxy_destroy(source->proxy);
    sources_.clear();
    for (wl_proxy* proxy : {device_, manager_, seat_, registry_}) {
      if (proxy != nullptr) wl_proxy_destroy(proxy);
    }
    wl_display_disconnect(display_);
  }

  bool prepare() {
    auto* const display = reinterpret_cast<wl_proxy*>(display_);
    registry_ = wl_proxy_marshal_flags(display, WL_DISPLAY_GET_REGISTRY, &waylandInterface("wl_registry_interface"),
                                       wl_proxy_get_version(display), 0, nullptr);
    static const Listener globals[] = {reinterpret_cast<Listener>(&onGlobal),
                                       reinterpret_cast<Listener>(&onGlobalRemoved)};
    wl_proxy_add_listener(registry_, const_cast<Listener*>(globals), this);
    if (wl_display_roundtrip(display_) < 0 || manager_ == nullptr || seat_ == nullptr) return false;
    device_ = wl_proxy_marshal_flags(manager_, getDevice, &protocol_->device, wl_proxy_get_version(manager_), 0,
                                     nullptr, seat_);
    static const Listener events[] = {reinterpret_cast<Listener>(&onDataOffer),
                                      reinterpret_cast<Listener>(&onSelection), reinterpret_cast<Listener>(&onFinished),
                                      reinterpret_cast<Listener>(&onSelection)};
    wl_proxy_add_listener(device_, const_cast<Listener*>(events), this);
    return wl_display_roundtrip(display_) >= 0;
  }

  static void onGlobal(void* self, wl_proxy*, std::uint32_t name, const char* interface, std::uint32_t version) {
    static_cast<WaylandSelection*>(self)->noteGlobal(name, interface, version);
  }
  static void onGlobalRemoved(void*, wl_proxy*, std::uint32_t) {}

  void noteGlobal(std::uint32_t name, std::string_view interface, std::uint32_t offered) {
    const auto bind = [&](const wl_interface& wanted, std::uint32_t wantedVersion) {
      const std::uint32_t version = std::min(offered, wantedVersion);
      return wl_proxy_marshal_flags(registry_, WL_REGISTRY_BIND, &wanted, version, 0, name, wanted.name, version,
                                    nullptr);
    };
    for (const Protocol* protocol : protocols) {
      if (interface != protocol->manager.name || manager_ != nullptr) continue;
      manager_ = bind(protocol->manager, static_cast<std::uint32_t>(protocol->manager.version));
      protocol_ = protocol;
    }
    const wl_interface& seat = waylandInterface("wl_seat_interface");
    if (interface == seat.name && seat_ == nullptr) seat_ = bind(seat, 1);
  }

  static void onDataOffer(void*, wl_proxy*, wl_proxy*) {}
  // Offers of other programs are not used. They are destroyed only here, because the library would leak an offer that
  // is destroyed before this event.
  static void onSelection(void*, wl_proxy*, wl_proxy* offer) {
    if (offer == nullptr) return;
    wl_proxy_marshal_flags(offer, destroyOffer, nullptr, wl_proxy_get_version(offer), WL_MARSHAL_FLAG_DESTROY);
  }
  static void onFinished(void* self, wl_proxy*) { static_cast<WaylandSelection*>(self)->isFinished_ = true; }

  static void onSend(void* data, wl_proxy*, const char* form, std::int32_t descriptor) {
    OwnedDescriptor pipe(descriptor);
    auto& source = *static_cast<Source*>(data);
    auto bytes = source.contents.bytes(form);
    if (bytes == nullptr) return;
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    source.selection.transfers_.push_back({std::move(pipe), std::move(bytes), 0});
  }
  static void onCancelled(void* data, wl_proxy*) {
    auto& source = *static_cast<Source*>(data);
    source.selection.drop(source);
  }

  void drop(Source& source) {
    if (current_ == &source) {
      current_ = nullptr;
      setOwner(false);
    }
    wl_proxy_marshal_flags(source.proxy, destroySource, nullptr, wl_proxy_get_version(source.proxy),
                           WL_MARSHAL_FLAG_DESTROY);
    std::erase_if(sources_, [&](const auto& other) { return other.get() == &source; });
  }

  void own(Offer& offer) {
    static const Listener events[] = {reinterpret_cast<Listener>(&onSend), reinterpret_cast<Listener>(&onCancelled)};
    wl_proxy* const proxy =
        wl_proxy_marshal_flags(manager_, createSource, &protocol_->source, wl_proxy_get_version(manager_), 0, nullptr);
    Source& source = *sources_.emplace_back(std::make_unique<Source>(*this, offer.contents, proxy));
    wl_proxy_add_listener(proxy, const_cast<Listener*>(events), &source);
    for (const char* form : offer.contents.forms())
      wl_proxy_marshal_flags(proxy, offerForm, nullptr, wl_proxy_get_version(proxy), 0, form);
    wl_proxy_marshal_flags(device_, setSelection, nullptr, wl_proxy_get_version(device_), 0, proxy);
    current_ = &source;
    setOwner(true);
    const bool isTaken = wl_display_roundtrip(display_) >= 0;
    offer.result.set_value(isTaken ? PasteboardProblem::none : PasteboardProblem::displayLost);
  }

  void waitForMore() {
    noteTransfers(!transfers_.empty());
    while (wl_display_prepare_read(display_) != 0) {
      if (wl_display_dispatch_pending(display_) < 0) return;
    }
    const bool isFull = wl_display_flush(display_) < 0 && errno == EAGAIN;
    const auto events = static_cast<short>(isFull ? POLLIN | POLLOUT : POLLIN);
    std::vector<pollfd> descriptors = {{wl_display_get_fd(display_), events, 0}, {wakeDescriptor(), POLLIN, 0}};
    for (const Transfer& transfer : transfers_) descriptors.push_back({transfer.pipe.get(), POLLOUT, 0});
    ::poll(descriptors.data(), descriptors.size(), -1);
    for (std::size_t i = transfers_.size(); i-- > 0;) {
      if (descriptors[2 + i].revents != 0 && !write(transfers_[i]))
        transfers_.erase(transfers_.begin() + static_cast<std::ptrdiff_t>(i));
    }
    if (descriptors[1].revents != 0) noteWoken();
    if ((descriptors[0].revents & ~POLLOUT) != 0) {
      wl_display_read_events(display_);
    } else {
      wl_display_cancel_read(display_);
    }
    wl_display_dispatch_pending(display_);
  }

  /// Returns false when the transfer has ended. This thread blocks the signal for a pipe without a reader.
  static bool write(Transfer& transfer) {
    const Transferred written =
        writeFull(transfer.pipe.get(), transfer.bytes->data() + transfer.sent, transfer.bytes->size() - transfer.sent);
    transfer.sent += written.count;
    return written.error == EAGAIN;
  }

  wl_display* display_ = nullptr;
  wl_proxy* registry_ = nullptr;
  wl_proxy* seat_ = nullptr;
  const Protocol* protocol_ = nullptr;
  wl_proxy* manager_ = nullptr;
  wl_proxy* device_ = nullptr;
  bool isFinished_ = false;
  std::vector<std::unique_ptr<Source>> sources_;
  Source* current_ = nullptr;
  std::vector<Transfer> transfers_;
};

}  // namespace

std::shared_ptr<DisplaySelection> connectToWayland(PasteboardProblem& problem) {
  const char* display = std::getenv("WAYLAND_DISPLAY");
  // The connection that WAYLAND_SOCKET names belongs to the host's toolkit.
  if (display == nullptr || *display == '\0' || std::getenv("WAYLAND_SOCKET") != nullptr) {
    problem = PasteboardProblem::noDisplay;
    return nullptr;
  }
  auto selection = std::make_shared<WaylandSelection>();
  problem = selection->start("tessaly-wayland");
  if (problem != PasteboardProblem::none) return nullptr;
  return selection;
}

}  // namespace Tessaly::inline v1::detail
