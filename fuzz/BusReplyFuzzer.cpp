// SPDX-License-Identifier: MIT
// Any bytes replace the answer of a daemon: every reader receives a message with a valid header, and types and body
// from the input. The first byte decides the kind of the message and the number of descriptors. The second byte decides
// where the types come from: from one of the readers, or from the input, up to a zero. The results have the right type,
// are equal in two reads, and leave no descriptor.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>

#include "Tessaly/Platform/Linux/BusReplies.hpp"
#include "tests/Support/BusWire.hpp"

namespace Tessaly {
namespace {

using namespace detail;
using Tests::BusWire;

constexpr std::string_view signatures[] = {"u", "v", "h", "s", "sss", "sa{sv}as", "(bba{ss})", "o", "a{sv}", "ay"};

void require(bool condition) {
  if (!condition) std::abort();
}

/// The number that the next descriptor would get.
int nextDescriptor() {
  const int next = ::fcntl(0, F_DUPFD_CLOEXEC, 0);
  ::close(next);
  return next;
}

/// Reads twice from the beginning. If the first read succeeds, the message begins with these types.
template <typename Reader, typename IsSame>
void readBothTimes(sd_bus_message* message, std::string_view types, Reader read, IsSame isSame) {
  sd_bus_message_rewind(message, 1);
  const auto first = read(message);
  sd_bus_message_rewind(message, 1);
  const auto second = read(message);
  require(first.has_value() == second.has_value());
  if (first.has_value()) {
    require(sd_bus_message_is_method_error(message, nullptr) == 0);
    require(std::string_view(sd_bus_message_get_signature(message, 1)).starts_with(types));
    require(isSame(*first, *second));
  } else {
    require(first.error() == second.error());
    require((first.error() == ReplyProblem::isError) == (sd_bus_message_is_method_error(message, nullptr) > 0));
    require(!description(first.error()).empty());
  }
}

template <typename Reader, typename IsSame>
void readTwice(sd_bus_message* message, std::string_view types, Reader read, IsSame isSame) {
  const int next = nextDescriptor();
  readBothTimes(message, types, read, isSame);
  require(nextDescriptor() == next);
}

bool isName(const std::string& text) { return !text.empty() && text.size() <= 255; }

void readAll(sd_bus_message* message) {
  const auto areEqual = [](const auto& first, const auto& second) { return first == second; };
  readTwice(message, "u", readNumber, areEqual);
  readTwice(message, "v", readNumberProperty, areEqual);
  readTwice(message, "h", readDescriptor, [](const OwnedDescriptor& first, const OwnedDescriptor& second) {
    return ::fcntl(first.get(), F_GETFD) == FD_CLOEXEC && first.get() != second.get();
  });
  readTwice(message, "s", readOwner,
            [](const std::string& first, const std::string& second) { return first == second && isName(first); });
  readTwice(message, "sss", readOwnerChange, [](const OwnerChange& first, const OwnerChange& second) {
    return first.name == second.name && first.former == second.former && first.next == second.next &&
           isName(first.name) && first.former.size() <= 255 && first.next.size() <= 255;
  });
  readTwice(
      message, "s", [](sd_bus_message* changes) { return readPropertyChange(changes, "org.example.M", "Metered"); },
      [](const PropertyChange& first, const PropertyChange& second) {
        return first.kind == second.kind && first.number == second.number;
      });
  readTwice(message, "(bba{ss})", readAuthorization, [](const Authorization& first, const Authorization& second) {
    return first.isAuthorized == second.isAuthorized && first.needsTheUser == second.needsTheUser &&
           first.isDismissed == second.isDismissed;
  });
  readTwice(message, "o", readObjectPath, areEqual);
  readTwice(message, "ay", readFilePath, [](const std::string& first, const std::string& second) {
    return first == second && first.starts_with('/') && first.find('\0') == std::string::npos;
  });
  readTwice(message, "a{sv}", readNetworkStatus, [](const NetworkStatus& first, const NetworkStatus& second) {
    return first.isAvailable == second.isAvailable && first.isMetered == second.isMetered;
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  static auto* const wire = new BusWire;
  require(wire->bus() != nullptr);
  std::string_view rest(reinterpret_cast<const char*>(data) + 2, size - 2);
  BusWire::Contents contents;
  constexpr BusWire::Kind kinds[] = {BusWire::Kind::methodReturn, BusWire::Kind::signal, BusWire::Kind::methodReturn,
                                     BusWire::Kind::error};
  contents.kind = kinds[data[0] & 3U];
  if (data[1] < std::size(signatures)) {
    contents.signature = signatures[data[1]];
    contents.descriptors = data[0] >> 2U & 3U;
  } else {
    // The message has no descriptors, because sd-bus leaks them when it rejects the types of a message.
    contents.signature = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(rest.size(), contents.signature.size() + 1));
  }
  contents.body = rest;
  if (const BusWire::Message message = wire->receive(contents)) {
    readAll(message.get());
    // The error must have no known name. Its text may be anything.
    if (const sd_bus_error* const error = sd_bus_message_get_error(message.get()))
      require(failureOf(error->name) == CallFailure::refused);
  }
  // A connection that sd-bus has ended is replaced.
  require(wire->bus() != nullptr);
  return 0;
}

}  // namespace Tessaly
