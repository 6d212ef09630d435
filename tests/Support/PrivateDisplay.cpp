// SPDX-License-Identifier: MIT
#include "tests/Support/PrivateDisplay.hpp"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <stdexcept>

namespace Tessaly::Tests {
namespace {

std::vector<char32_t> codePoints(std::string_view text) {
  std::vector<char32_t> points;
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const int length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t point = length == 1 ? lead : lead & (0x7FU >> length);
    for (int k = 1; k < length; ++k) point = (point << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3FU);
    points.push_back(point);
    i += static_cast<std::size_t>(length);
  }
  return points;
}

KeySym symbolOf(char32_t point) {
  if (point == U'\t') return XStringToKeysym("Tab");
  return point < 0x100 ? point : 0x01000000 | point;
}

/// The title in UTF-8, as toolkits set it beside the older one.
std::string titleOf(Display* display, Window window) {
  Atom type = 0;
  int format = 0;
  unsigned long count = 0;
  unsigned long rest = 0;
  unsigned char* bytes = nullptr;
  XGetWindowProperty(display, window, XInternAtom(display, "_NET_WM_NAME", False), 0, 1'000, False, AnyPropertyType,
                     &type, &format, &count, &rest, &bytes);
  if (bytes == nullptr) return "";
  std::string title(reinterpret_cast<const char*>(bytes), format == 8 ? count : 0);
  XFree(bytes);
  return title;
}

/// The visible window with this title, or `None`.
Window visibleWindow(Display* display, const std::string& title) {
  Window root = 0;
  Window parent = 0;
  Window* children = nullptr;
  unsigned count = 0;
  if (XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count) == 0) return None;
  Window found = None;
  for (unsigned i = 0; i < count && found == None; ++i) {
    XWindowAttributes attributes;
    if (title == titleOf(display, children[i]) && XGetWindowAttributes(display, children[i], &attributes) != 0 &&
        attributes.map_state == IsViewable) {
      found = children[i];
    }
  }
  if (children != nullptr) XFree(children);
  return found;
}

}  // namespace

struct PrivateDisplay::Connection {
  struct Key {
    unsigned code = 0;
    bool isShifted = false;
  };

  explicit Connection(Display* opened) : display(opened) {
    int last = 0;
    XDisplayKeycodes(display, &firstCode, &last);
    for (int code = firstCode; code <= last; ++code) {
      for (const bool isShifted : {false, true}) {
        const KeySym symbol = XkbKeycodeToKeysym(display, static_cast<KeyCode>(code), 0, isShifted ? 1 : 0);
        if (symbol != NoSymbol) keys.try_emplace(symbol, Key{static_cast<unsigned>(code), isShifted});
      }
      if (XkbKeycodeToKeysym(display, static_cast<KeyCode>(code), 0, 0) == NoSymbol) free.push_back(code);
    }
  }
  ~Connection() { XCloseDisplay(display); }

  void add(KeySym symbol) {
    if (keys.contains(symbol)) return;
    if (free.empty()) throw std::length_error("The keyboard has no key left");
    const int code = free.back();
    free.pop_back();
    XChangeKeyboardMapping(display, code, 1, &symbol, 1);
    keys[symbol] = {static_cast<unsigned>(code), false};
  }
  [[nodiscard]] Key key(KeySym symbol) const { return keys.at(symbol); }

  Display* display;
  int firstCode = 0;
  std::map<KeySym, Key> keys;
  std::vector<int> free;
};

PrivateDisplay::PrivateDisplay(std::string_view furtherLetters, int width, int height)
    : server_(std::to_string(width) + "x" + std::to_string(height)) {
  if (!reason().empty()) return;
  Display* display = XOpenDisplay(nullptr);
  if (display == nullptr) throw std::runtime_error("The X server refuses its first client");
  connection_ = std::make_unique<Connection>(display);
  for (const char32_t point : codePoints(furtherLetters)) connection_->add(symbolOf(point));
  connection_->add(XStringToKeysym("dead_acute"));
  XAutoRepeatOff(display);
  XSync(display, False);
}

PrivateDisplay::~PrivateDisplay() = default;

bool PrivateDisplay::focus(const std::string& title) {
  Display* display = connection_->display;
  const Window window = visibleWindow(display, title);
  if (window == None) return false;
  XSetInputFocus(display, window, RevertToParent, CurrentTime);
  XSync(display, False);
  return true;
}

bool PrivateDisplay::isDrawn(const std::string& title) {
  Display* display = connection_->display;
  const Window window = visibleWindow(display, title);
  XWindowAttributes attributes;
  if (window == None || XGetWindowAttributes(display, window, &attributes) == 0) return false;
  // The server refuses to read the part of a window that is beyond the screen.
  const int width = std::min(attributes.width, WidthOfScreen(attributes.screen) - attributes.x);
  const int height = std::min(attributes.height, HeightOfScreen(attributes.screen) - attributes.y);
  XImage* image =
      XGetImage(display, window, 0, 0, static_cast<unsigned>(width), static_cast<unsigned>(height), AllPlanes, ZPixmap);
  if (image == nullptr) return false;
  const std::string_view pixels(image->data, static_cast<std::size_t>(image->bytes_per_line * image->height));
  const auto pixel = static_cast<std::size_t>(image->bits_per_pixel / 8);
  const bool isEmpty = pixels.substr(pixel) == pixels.substr(0, pixels.size() - pixel);
  XDestroyImage(image);
  return !isEmpty;
}

void PrivateDisplay::stroke(unsigned keycode, bool isShifted) {
  Display* display = connection_->display;
  const unsigned shift = connection_->key(XStringToKeysym("Shift_L")).code;
  if (isShifted) XTestFakeKeyEvent(display, shift, True, CurrentTime);
  XTestFakeKeyEvent(display, keycode, True, CurrentTime);
  XTestFakeKeyEvent(display, keycode, False, CurrentTime);
  if (isShifted) XTestFakeKeyEvent(display, shift, False, CurrentTime);
  releases_ += isShifted ? 2 : 1;
}

void PrivateDisplay::type(std::string_view letters) {
  for (const char32_t point : codePoints(letters)) {
    const Connection::Key key = connection_->key(symbolOf(point));
    stroke(key.code, key.isShifted);
  }
  XFlush(connection_->display);
}

void PrivateDisplay::click(int x, int y) {
  Display* display = connection_->display;
  XTestFakeMotionEvent(display, -1, x, y, CurrentTime);
  XTestFakeButtonEvent(display, 1, True, CurrentTime);
  XTestFakeButtonEvent(display, 1, False, CurrentTime);
  XFlush(display);
}

void PrivateDisplay::press(const std::vector<std::string>& names) {
  Display* display = connection_->display;
  std::vector<unsigned> codes;
  for (const std::string& name : names) codes.push_back(connection_->key(XStringToKeysym(name.c_str())).code);
  for (const unsigned code : codes) XTestFakeKeyEvent(display, code, True, CurrentTime);
  for (auto code = codes.rbegin(); code != codes.rend(); ++code) XTestFakeKeyEvent(display, *code, False, CurrentTime);
  releases_ += static_cast<int>(codes.size());
  XFlush(display);
}

}  // namespace Tessaly::Tests
