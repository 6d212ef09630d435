// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/X11Selection.hpp"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Platform/Linux/SelectionThread.hpp"
#include "Tessaly/Platform/Linux/XCBLibrary.hpp"

// The clipboard by the Inter-Client Communication Conventions Manual, version 2.0, section 2.

namespace Tessaly::inline v1::detail {
namespace {

/// A transfer is dropped if the other program takes nothing for this time.
constexpr auto longestPause = std::chrono::seconds(60);
/// Servers and programs accept this many bytes at once without delay.
constexpr std::size_t largestPiece = std::size_t{256} * 1024;

struct Free {
  void operator()(void* memory) const noexcept { std::free(memory); }
};
template <typename T>
using Allocated = std::unique_ptr<T, Free>;

/// A transfer of contents in pieces. Each piece follows when the other program has deleted the previous one.
struct Transfer {
  xcb_window_t window;
  xcb_atom_t property;
  xcb_atom_t type;
  std::shared_ptr<const std::string> bytes;
  std::size_t sent;
  std::chrono::steady_clock::time_point lastSign;
};

enum AtomName : std::uint8_t { clipboard, targets, timestamp, multiple, atomPair, incr, utf8String, clock, atomCount };
constexpr const char* atomNames[] = {"CLIPBOARD", "TARGETS", "TIMESTAMP",   "MULTIPLE",
                                     "ATOM_PAIR", "INCR",    "UTF8_STRING", "TESSALY_TIME"};

class X11Selection final : public SelectionThread {
 private:
  struct Disconnect {
    void operator()(xcb_connection_t* connection) const noexcept { xcb_disconnect(connection); }
  };

  void run(std::promise<PasteboardProblem> connected) override {
    const std::unique_ptr<xcb_connection_t, Disconnect> connection(connect());
    connection_ = connection.get();
    if (connection_ == nullptr || xcb_connection_has_error(connection_) != 0 || !prepare()) {
      connected.set_value(PasteboardProblem::noDisplay);
      return;
    }
    connected.set_value(PasteboardProblem::none);
    while (!isLost() && xcb_connection_has_error(connection_) == 0) {
      handleEvents();
      waitForMore();
    }
    if (current_ != nullptr) current_->result.set_value(PasteboardProblem::displayLost);
  }

  /// Only one thread connects at a time, because the library for authentication has one buffer for all threads.
  static xcb_connection_t* connect() {
    static constinit UnfairLock lock;
    const UnfairLock::Guard guard(lock);
    return xcbLibrary.isLoaded() ? xcb_connect(nullptr, nullptr) : nullptr;
  }

  bool prepare() {
    xcb_intern_atom_cookie_t cookies[atomCount];
    for (int i = 0; i < atomCount; ++i) {
      const auto length = static_cast<std::uint16_t>(std::strlen(atomNames[i]));
      cookies[i] = xcb_intern_atom(connection_, 0, length, atomNames[i]);
    }
    for (int i = 0; i < atomCount; ++i) {
      const Allocated<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection_, cookies[i], nullptr));
      if (reply == nullptr) return false;
      atoms_[i] = reply->atom;
    }
    const xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    if (screens.rem == 0) return false;
    window_ = xcb_generate_id(connection_);
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screens.data->root, -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    piece_ = std::min<std::size_t>(largestPiece, std::size_t{xcb_get_maximum_request_length(connection_)} * 4 - 256);
    return true;
  }

  void waitForMore() {
    if (isServing() && !isOwner() && transfers_.empty()) {
      // The last answers must have reached the server before the host ends the process.
      const Allocated<xcb_get_input_focus_reply_t> reply(
          xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    }
    noteTransfers(!transfers_.empty());
    xcb_flush(connection_);
    pollfd descriptors[] = {{xcb_get_file_descriptor(connection_), POLLIN, 0}, {wakeDescriptor(), POLLIN, 0}};
    ::poll(descriptors, 2, transfers_.empty() ? -1 : 5000);
    if (descriptors[1].revents != 0) noteWoken();
    const auto oldest = std::chrono::steady_clock::now() - longestPause;
    std::erase_if(transfers_, [&](const Transfer& transfer) { return transfer.lastSign < oldest; });
  }

  void handleEvents() {
    takeOffer();
    while (const Allocated<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) {
      switch (event->response_type & 0x7F) {
        case XCB_SELECTION_REQUEST:
          answer(reinterpret_cast<const xcb_selection_request_event_t&>(*event));
          break;
        case XCB_SELECTION_CLEAR:
          if (reinterpret_cast<const xcb_selection_clear_event_t&>(*event).selection == atoms_[clipboard]) lose();
          break;
        case XCB_PROPERTY_NOTIFY:
          noteProperty(reinterpret_cast<const xcb_property_notify_event_t&>(*event));
          break;
        case XCB_DESTROY_NOTIFY: {
          const xcb_window_t gone = reinterpret_cast<const xcb_destroy_notify_event_t&>(*event).window;
          std::erase_if(transfers_, [gone](const Transfer& transfer) { return transfer.window == gone; });
          break;
        }
        default:
          break;  // Errors concern windows of programs that have ended.
      }
      takeOffer();
    }
  }

  /// A change of this window's property returns the server's time. This process owns the clipboard from that time on.
  void takeOffer() {
    if (current_ != nullptr) return;
    current_ = nextOffer();
    if (current_ == nullptr) return;
    xcb_change_property(connection_, XCB_PROP_MODE_APPEND, window_, atoms_[clock], XCB_ATOM_INTEGER, 32, 0, nullptr);
  }

  void own(xcb_timestamp_t now) {
    const std::shared_ptr<Offer> offer = std::exchange(current_, nullptr);
    contents_ = offer->contents;
    since_ = now;
    xcb_set_selection_owner(connection_, window_, atoms_[clipboard], now);
    const Allocated<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection_, xcb_get_selection_owner(connection_, atoms_[clipboard]), nullptr));
    setOwner(reply != nullptr && reply->owner == window_);
    offer->result.set_value(reply == nullptr ? PasteboardProblem::displayLost
                            : isOwner()      ? PasteboardProblem::none
                                             : PasteboardProblem::refused);
  }

  void lose() {
    // The event may concern an ownership that a later offer has renewed.
    const Allocated<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection_, xcb_get_selection_owner(connection_, atoms_[clipboard]), nullptr));
    if (reply != nullptr && reply->owner == window_) return;
    setOwner(false);
    contents_ = {};
  }

  void noteProperty(const xcb_property_notify_event_t& event) {
    if (event.window == window_ && event.atom == atoms_[clock]) {
      if (current_ != nullptr) own(event.time);
      return;
    }
    if (event.state != XCB_PROPERTY_DELETE) return;
    const auto found = std::find_if(transfers_.begin(), transfers_.end(), [&](const Transfer& transfer) {
      return transfer.window == event.window && transfer.property == event.atom;
    });
    if (found == transfers_.end()) return;
    const std::size_t count = std::min(piece_, found->bytes->size() - found->sent);
    put(found->window, found->property, found->type, std::string_view(*found->bytes).substr(found->sent, count));
    found->sent += count;
    found->lastSign = std::chrono::steady_clock::now();
    // An empty piece ends a transfer.
    if (count == 0) transfers_.erase(found);
  }

  void put(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, std::string_view bytes) {
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, property, type, 8,
                        static_cast<std::uint32_t>(bytes.size()), bytes.data());
  }
  void put(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, const std::vector<std::uint32_t>& words) {
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, property, type, 32,
                        static_cast<std::uint32_t>(words.size()), words.data());
  }

  void answer(const xcb_selection_request_event_t& request) {
    xcb_selection_notify_event_t notice{};
    notice.response_type = XCB_SELECTION_NOTIFY;
    notice.time = request.time;
    notice.requestor = request.requestor;
    notice.selection = request.selection;
    notice.target = request.target;
    // Older programs name no property and mean the target.
    const xcb_atom_t property = request.property == XCB_NONE ? request.target : request.property;
    // Times wrap around.
    const bool isEarlier = request.time != XCB_CURRENT_TIME && static_cast<std::int32_t>(request.time - since_) < 0;
    if (request.selection == atoms_[clipboard] && !isEarlier &&
        convert(request.requestor, property, request.target, Nesting::allowed)) {
      notice.property = property;
    }
    xcb_send_event(connection_, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&notice));
  }

  enum class Nesting : bool { allowed, refused };

  /// Writes the contents, in the form of the target, to the property that the program named.
  bool convert(xcb_window_t window, xcb_atom_t property, xcb_atom_t target, Nesting nesting) {
    if (target == atoms_[targets]) {
      std::vector<std::uint32_t> offered = {atoms_[targets], atoms_[timestamp], atoms_[multiple]};
      for (const char* form : contents_.forms()) offered.push_back(atomOf(form));
      put(window, property, XCB_ATOM_ATOM, offered);
      return true;
    }
    if (target == atoms_[timestamp]) {
      put(window, property, XCB_ATOM_INTEGER, std::vector<std::uint32_t>{since_});
      return true;
    }
    if (target == atoms_[multiple]) return nesting == Nesting::allowed && convertAll(window, property);
    for (const char* form : contents_.forms()) {
      if (atomOf(form) != target) continue;
      // "TEXT" lets the owner choose the encoding.
      send(window, property, std::string_view(form) == "TEXT" ? atoms_[utf8String] : target, contents_.bytes(form));
      return true;
    }
    return false;
  }

  bool convertAll(xcb_window_t window, xcb_atom_t property) {
    const Allocated<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection_, xcb_get_property(connection_, 0, window, property, atoms_[atomPair], 0, 1024), nullptr));
    if (reply == nullptr || reply->format != 32) return false;
    const auto* words = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    std::vector<std::uint32_t> pairs(words, words + xcb_get_property_value_length(reply.get()) / 4);
    for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
      if (!convert(window, pairs[i + 1], pairs[i], Nesting::refused)) pairs[i + 1] = XCB_NONE;
    }
    put(window, property, atoms_[atomPair], pairs);
    return true;
  }

  void send(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, std::shared_ptr<const std::string> bytes) {
    std::erase_if(transfers_,
                  [&](const Transfer& transfer) { return transfer.window == window && transfer.property == property; });
    if (bytes->size() <= piece_) {
      put(window, property, type, *bytes);
      return;
    }
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_, window, XCB_CW_EVENT_MASK, &events);
    const std::size_t announced = std::min<std::size_t>(bytes->size(), INT32_MAX);
    put(window, property, atoms_[incr], std::vector<std::uint32_t>{static_cast<std::uint32_t>(announced)});
    transfers_.push_back({window, property, type, std::move(bytes), 0, std::chrono::steady_clock::now()});
  }

  xcb_atom_t atomOf(const char* form) {
    for (const auto& [name, atom] : forms_) {
      if (std::string_view(name) == form) return atom;
    }
    const Allocated<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection_, xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(std::strlen(form)), form), nullptr));
    if (reply == nullptr) return XCB_NONE;
    forms_.emplace_back(form, reply->atom);
    return reply->atom;
  }

  xcb_connection_t* connection_ = nullptr;
  xcb_atom_t atoms_[atomCount] = {};
  std::vector<std::pair<const char*, xcb_atom_t>> forms_;
  xcb_window_t window_ = XCB_NONE;
  std::size_t piece_ = 0;
  std::shared_ptr<Offer> current_;
  PasteboardContents contents_;
  xcb_timestamp_t since_ = XCB_CURRENT_TIME;
  std::vector<Transfer> transfers_;
};

}  // namespace

std::shared_ptr<DisplaySelection> connectToX11(PasteboardProblem& problem) {
  const char* display = std::getenv("DISPLAY");
  if (display == nullptr || *display == '\0') {
    problem = PasteboardProblem::noDisplay;
    return nullptr;
  }
  auto selection = std::make_shared<X11Selection>();
  problem = selection->start("tessaly-x11");
  if (problem != PasteboardProblem::none) return nullptr;
  return selection;
}

}  // namespace Tessaly::inline v1::detail
