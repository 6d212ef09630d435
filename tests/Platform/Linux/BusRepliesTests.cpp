// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Platform/Linux/BusReplies.hpp"
#include "tests/Support/BusWire.hpp"
#include "tests/Support/LoweredLimit.hpp"

namespace Tessaly {
namespace {

using namespace detail;
using Tests::BusWire;
using Kind = PropertyChange::Kind;

constexpr const char* interface = "org.example.Manager";

/// The name of the problem of a parsed value, or "".
template <typename Value>
std::string problem(const std::expected<Value, ReplyProblem>& read) {
  return read.has_value() ? "" : std::string(description(read.error()));
}

const std::string isError(description(ReplyProblem::isError));
const std::string missing(description(ReplyProblem::missing));
const std::string otherType(description(ReplyProblem::otherType));
const std::string malformed(description(ReplyProblem::malformed));

class BusReplies : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(wire_.bus(), nullptr); }

  /// A message that sd-bus makes from these arguments.
  template <typename... Arguments>
  BusWire::Message made(const char* types, Arguments... arguments) {
    sd_bus_message* message = nullptr;
    EXPECT_GE(sd_bus_message_new_signal(wire_.bus(), &message, "/org/example", "org.example.Service", "Changed"), 0);
    EXPECT_GE(sd_bus_message_append(message, types, arguments...), 0) << types;
    EXPECT_GE(sd_bus_message_seal(message, 1, 0), 0);
    return BusWire::Message(message);
  }
  BusWire::Message empty() { return made(""); }

  /// A message that arrived over a connection, with any bytes as its body.
  BusWire::Message received(std::string signature, std::string body, std::uint32_t descriptors = 0) {
    BusWire::Message message =
        wire_.receive({.signature = std::move(signature), .body = std::move(body), .descriptors = descriptors});
    EXPECT_NE(message, nullptr);
    return message;
  }
  BusWire::Message error(std::string signature, std::string body) {
    BusWire::Message message =
        wire_.receive({.kind = BusWire::Kind::error, .signature = std::move(signature), .body = std::move(body)});
    EXPECT_NE(message, nullptr);
    return message;
  }

  static std::string bytes(std::uint32_t number) {
    return std::string(reinterpret_cast<const char*>(&number), sizeof number);
  }
  /// The encoding of a text in a body.
  static std::string encoded(std::string_view text) {
    std::string result = bytes(static_cast<std::uint32_t>(text.size()));
    result += text;
    result.append(4 - text.size() % 4, '\0');
    return result;
  }
  static auto readChange(const BusWire::Message& message) {
    return readPropertyChange(message.get(), interface, "Metered");
  }
  static std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  }
  /// The problems of every parsing function with messages of `make`, in this order.
  static std::vector<std::string> problems(const std::function<BusWire::Message()>& make) {
    return {problem(readNumber(make().get())),        problem(readNumberProperty(make().get())),
            problem(readDescriptor(make().get())),    problem(readOwner(make().get())),
            problem(readOwnerChange(make().get())),   problem(readChange(make())),
            problem(readAuthorization(make().get())), problem(readObjectPath(make().get())),
            problem(readNetworkStatus(make().get())), problem(readFilePath(make().get()))};
  }

  BusWire wire_;
};

TEST_F(BusReplies, NumberIsParsed) {
  for (const std::uint32_t number : {0U, 7U, 0xFFFFFFFFU}) {
    EXPECT_EQ(readNumber(made("u", number).get()), number);
    EXPECT_EQ(readNumberProperty(made("v", "u", number).get()), number);
    EXPECT_EQ(readNumber(received("u", bytes(number)).get()), number);
  }
  // Further values are ignored.
  EXPECT_EQ(readNumber(made("us", 7U, "more").get()), 7U);
  EXPECT_EQ(readNumberProperty(made("vv", "u", 7U, "s", "more").get()), 7U);
}

TEST_F(BusReplies, NumberOfAnotherTypeIsRefused) {
  EXPECT_EQ(problem(readNumber(made("i", 7).get())), otherType);
  EXPECT_EQ(problem(readNumber(made("v", "u", 7U).get())), otherType);
  EXPECT_EQ(problem(readNumber(made("(u)", 7U).get())), otherType);
  EXPECT_EQ(problem(readNumber(made("au", 1, 7U).get())), otherType);
  EXPECT_EQ(problem(readNumberProperty(made("u", 7U).get())), otherType);
  EXPECT_EQ(problem(readNumberProperty(made("v", "s", "7").get())), otherType);
  EXPECT_EQ(problem(readNumberProperty(made("v", "i", 7).get())), otherType);
  EXPECT_EQ(problem(readNumberProperty(made("v", "au", 0).get())), otherType);
}

TEST_F(BusReplies, VariantInAVariantIsOfAnotherType) {
  EXPECT_EQ(problem(readNumberProperty(made("v", "v", "u", 7U).get())), otherType);
  const auto change = made("sa{sv}as", interface, 1, "Metered", "v", "v", "u", 1U, 0);
  EXPECT_EQ(problem(readChange(change)), otherType);
}

TEST_F(BusReplies, DeeplyNestedSkippedValuesEnd) {
  int deepest = 0;
  for (int depth = 1; depth < 500; ++depth) {
    std::string entry = bytes(5) + std::string("Other", 6);
    for (int i = 1; i < depth; ++i) entry += std::string("\1v", 3);
    entry += std::string("\1y\0x", 4);
    std::string body = encoded(interface) + bytes(static_cast<std::uint32_t>(entry.size()));
    body.append((8 - body.size() % 8) % 8, '\0');
    body += entry;
    body.append((4 - body.size() % 4) % 4, '\0');
    const auto change = readChange(received("sa{sv}as", body + bytes(0)));
    if (!change) {
      // sd-bus refuses deeper nesting.
      EXPECT_EQ(problem(change), malformed) << depth;
      continue;
    }
    EXPECT_EQ(change->kind, Kind::none) << depth;
    EXPECT_EQ(deepest, depth - 1);
    deepest = depth;
  }
  EXPECT_GT(deepest, 30);
  RecordProperty("deepest", deepest);
}

TEST_F(BusReplies, EmptyMessageLacksTheValue) {
  EXPECT_EQ(problems([this] { return empty(); }), std::vector<std::string>(10, missing));
  EXPECT_EQ(problems([this] { return received("", ""); }), std::vector<std::string>(10, missing));
}

TEST_F(BusReplies, ErrorIsNeverAnAnswer) {
  const std::vector<std::string> errors(10, isError);
  EXPECT_EQ(problems([this] { return error("", ""); }), errors);
  EXPECT_EQ(problems([this] { return error("u", bytes(7)); }), errors);
  EXPECT_EQ(problems([this] { return error("s", encoded(":1.7")); }), errors);
}

TEST_F(BusReplies, TooShortBodyIsMalformed) {
  EXPECT_EQ(problem(readNumber(received("u", "").get())), malformed);
  EXPECT_EQ(problem(readNumber(received("u", "\1\2\3").get())), malformed);
  EXPECT_EQ(problem(readNumberProperty(received("v", "").get())), malformed);
  EXPECT_EQ(problem(readNumberProperty(received("v", std::string("\1u\0", 3)).get())), malformed);
  EXPECT_EQ(problem(readDescriptor(received("h", "").get())), malformed);
  EXPECT_EQ(problem(readOwner(received("s", "").get())), malformed);
  EXPECT_EQ(problem(readOwnerChange(received("sss", encoded("org.example")).get())), malformed);
  EXPECT_EQ(problem(readChange(received("sa{sv}as", encoded(interface)))), malformed);
  EXPECT_EQ(problem(readAuthorization(received("(bba{ss})", bytes(1)).get())), malformed);
  EXPECT_EQ(problem(readAuthorization(received("(bba{ss})", bytes(1) + bytes(0)).get())), malformed);
}

TEST_F(BusReplies, LengthsBeyondTheBodyAreMalformed) {
  for (const std::uint32_t length :
       {1'000U, 0x3FFFFFFU, 0x4000000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    const std::string sized = bytes(length);
    EXPECT_EQ(problem(readOwner(received("s", sized + "1").get())), malformed) << length;
    EXPECT_EQ(problem(readOwnerChange(received("sss", encoded("org.example") + sized).get())), malformed) << length;
    EXPECT_EQ(problem(readChange(received("sa{sv}as", encoded(interface) + sized + bytes(0)))), malformed) << length;
    EXPECT_EQ(problem(readChange(received("sa{sv}as", encoded(interface) + bytes(0) + bytes(0) + sized))), malformed)
        << length;
    EXPECT_EQ(problem(readAuthorization(received("(bba{ss})", bytes(1) + bytes(0) + sized + bytes(0)).get())),
              malformed)
        << length;
  }
}

TEST_F(BusReplies, UnterminatedOrIllFormedTextIsMalformed) {
  EXPECT_EQ(problem(readOwner(received("s", bytes(4) + ":1.7x").get())), malformed);
  EXPECT_EQ(problem(readOwner(received("s", bytes(4) + std::string(":1\0"
                                                                   "7\0",
                                                                   5))
                                  .get())),
            malformed);
  EXPECT_EQ(problem(readOwner(received("s", encoded(":1.\xFF")).get())), malformed);
  EXPECT_EQ(problem(readChange(received("sa{sv}as", encoded("\xC3\x28") + bytes(0) + bytes(0)))), malformed);
}

TEST_F(BusReplies, OwnerOfANameIsAConnectionsName) {
  EXPECT_EQ(readOwner(made("s", ":1.42").get()), ":1.42");
  EXPECT_EQ(readOwner(made("s", "org.freedesktop.DBus").get()), "org.freedesktop.DBus");
  EXPECT_EQ(readOwner(made("s", (":1." + std::string(252, '4')).c_str()).get()), ":1." + std::string(252, '4'));
  EXPECT_EQ(problem(readOwner(made("u", 42U).get())), otherType);
  EXPECT_EQ(problem(readOwner(made("o", "/org/example").get())), otherType);
}

TEST_F(BusReplies, InvalidOrTooLongOwnerIsMalformed) {
  for (const std::string& owner : {std::string(), std::string("anybody"), std::string(":1.4 2"),
                                   ":1." + std::string(253, '4'), ":1." + std::string(5'000'000, '4')}) {
    EXPECT_EQ(problem(readOwner(received("s", encoded(owner)).get())), malformed) << owner.size();
    if (!owner.empty()) {
      EXPECT_EQ(problem(readOwnerChange(made("sss", "org.example", "", owner.c_str()).get())), malformed);
    }
  }
}

TEST_F(BusReplies, OwnerAppearsEndsAndIsReplaced) {
  for (const auto& [former, next] : {std::pair("", ":1.7"), std::pair(":1.7", ""), std::pair(":1.7", ":1.8")}) {
    const auto change = readOwnerChange(made("sss", "org.example.Manager", former, next).get());
    ASSERT_TRUE(change.has_value()) << problem(change);
    EXPECT_EQ(change->name, "org.example.Manager");
    EXPECT_EQ(change->former, former);
    EXPECT_EQ(change->next, next);
  }
  EXPECT_EQ(problem(readOwnerChange(made("ss", "org.example.Manager", ":1.7").get())), missing);
  EXPECT_EQ(problem(readOwnerChange(made("ssu", "org.example.Manager", ":1.7", 8U).get())), otherType);
  EXPECT_EQ(problem(readOwnerChange(made("as", 3, "org.example.Manager", "", ":1.7").get())), otherType);
  EXPECT_EQ(problem(readOwnerChange(made("sss", "", "", ":1.7").get())), malformed);
}

TEST_F(BusReplies, ObjectPathIsParsed) {
  EXPECT_EQ(readObjectPath(made("o", "/org/example/1").get()), "/org/example/1");
  EXPECT_EQ(problem(readObjectPath(made("s", "/org/example/1").get())), otherType);
  EXPECT_EQ(problem(readObjectPath(received("o", encoded("org example")).get())), malformed);
}

TEST_F(BusReplies, FilePathIsAbsoluteAndEndsWithAZero) {
  const auto path = [this](std::string text) {
    return readFilePath(received("ay", bytes(static_cast<std::uint32_t>(text.size())) + std::move(text)).get());
  };
  EXPECT_EQ(path({"/run/doc\xFF\0", 10}), "/run/doc\xFF");
  for (const std::string& text : {std::string(), std::string("/run/doc"), std::string("run/doc\0", 8),
                                  std::string("\0", 1), std::string("/run\0/doc\0", 10)}) {
    EXPECT_EQ(problem(path(text)), malformed) << text;
  }
  EXPECT_EQ(problem(readFilePath(made("s", "/run/doc").get())), otherType);
  EXPECT_EQ(problem(readFilePath(made("as", 1, "/run/doc").get())), otherType);
}

TEST_F(BusReplies, NetworkStatusHasTheKnownKeysOnly) {
  const auto status = readNetworkStatus(
      made("a{sv}", 4, "connectivity", "u", 4U, "metered", "b", 1, "available", "b", 0, "new", "as", 0).get());
  ASSERT_TRUE(status.has_value()) << problem(status);
  EXPECT_EQ(status->isAvailable, false);
  EXPECT_EQ(status->isMetered, true);
  const auto half = readNetworkStatus(made("a{sv}", 1, "available", "b", 1).get());
  ASSERT_TRUE(half.has_value()) << problem(half);
  EXPECT_EQ(half->isAvailable, true);
  EXPECT_EQ(half->isMetered, std::nullopt);
}

TEST_F(BusReplies, NetworkStatusOfAnotherTypeIsRefused) {
  EXPECT_EQ(problem(readNetworkStatus(made("a{sv}", 1, "metered", "u", 1U).get())), otherType);
  EXPECT_EQ(problem(readNetworkStatus(made("a{sv}", 2, "available", "b", 1, "metered", "s", "no").get())), otherType);
  EXPECT_EQ(problem(readNetworkStatus(made("a{sb}", 1, "metered", 1).get())), otherType);
  EXPECT_EQ(problem(readNetworkStatus(made("b", 1).get())), otherType);
  EXPECT_EQ(problem(readNetworkStatus(made("a{sv}", 0).get())), missing);
  EXPECT_EQ(problem(readNetworkStatus(made("a{sv}", 1, "connectivity", "u", 4U).get())), missing);
  EXPECT_EQ(problem(readNetworkStatus(received("a{sv}", bytes(1'000)).get())), malformed);
}

TEST_F(BusReplies, DescriptorOutlivesItsMessage) {
  const std::ptrdiff_t before = openDescriptors();
  {
    const auto descriptor = readDescriptor(received("h", bytes(0), 1).get());
    ASSERT_TRUE(descriptor.has_value()) << problem(descriptor);
    EXPECT_GE(::fcntl(descriptor->get(), F_GETFD), 0);
    EXPECT_EQ(::fcntl(descriptor->get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(openDescriptors(), before + 1);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(BusReplies, MissingDescriptorIsMalformed) {
  const std::ptrdiff_t before = openDescriptors();
  EXPECT_EQ(problem(readDescriptor(received("h", bytes(0)).get())), malformed);
  EXPECT_EQ(problem(readDescriptor(received("h", bytes(1), 1).get())), malformed);
  EXPECT_EQ(problem(readDescriptor(received("h", bytes(0xFFFFFFFF), 4).get())), malformed);
  EXPECT_EQ(problem(readDescriptor(received("u", bytes(0), 2).get())), otherType);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(BusReplies, DescriptorBeyondTheLimitIsRefused) {
  const BusWire::Message message = received("h", bytes(0), 1);
  const auto limit = Tests::fewDescriptors(0);
  EXPECT_EQ(problem(readDescriptor(message.get())), description(ReplyProblem::noRoom));
}

TEST_F(BusReplies, ChangedPropertyIsFoundAmongOthers) {
  const auto change = readChange(made("sa{sv}as", interface, 3, "Connectivity", "u", 4U, "Metered", "u", 3U, "Devices",
                                      "ao", 1, "/org/example/1", 1, "Other"));
  ASSERT_TRUE(change.has_value()) << problem(change);
  EXPECT_EQ(change->kind, Kind::value);
  EXPECT_EQ(change->number, 3U);
}

TEST_F(BusReplies, PropertyMayChangeWithoutAValue) {
  const auto change = readChange(made("sa{sv}as", interface, 0, 2, "Other", "Metered"));
  ASSERT_TRUE(change.has_value()) << problem(change);
  EXPECT_EQ(change->kind, Kind::invalidated);
  EXPECT_EQ(readChange(made("sa{sv}as", interface, 1, "Metered", "u", 1U, 1, "Metered"))->kind, Kind::value);
  EXPECT_EQ(readChange(made("sa{sv}as", interface, 2, "Metered", "u", 1U, "Metered", "u", 2U, 0))->number, 1U);
}

TEST_F(BusReplies, ChangesOfOtherPropertiesAreIgnored) {
  EXPECT_EQ(readChange(made("sa{sv}as", interface, 0, 0))->kind, Kind::none);
  EXPECT_EQ(readChange(made("sa{sv}as", interface, 1, "metered", "u", 1U, 1, "Metered "))->kind, Kind::none);
  EXPECT_EQ(readChange(made("sa{sv}as", "org.example.Other", 1, "Metered", "u", 1U, 0))->kind, Kind::none);
  // The rest of the message is not parsed.
  EXPECT_EQ(readChange(made("s", "org.example.Other"))->kind, Kind::none);
}

TEST_F(BusReplies, ChangeOfAnotherTypeIsRefused) {
  EXPECT_EQ(problem(readChange(made("sa{sv}as", interface, 1, "Metered", "s", "yes", 0))), otherType);
  EXPECT_EQ(problem(readChange(made("sa{ss}as", interface, 1, "Metered", "1", 0))), otherType);
  EXPECT_EQ(problem(readChange(made("sa{sv}au", interface, 0, 1, 7U))), otherType);
  EXPECT_EQ(problem(readChange(made("ssas", interface, "Metered", 0))), otherType);
  EXPECT_EQ(problem(readChange(made("u", 1U))), otherType);
  EXPECT_EQ(problem(readChange(made("s", interface))), missing);
  EXPECT_EQ(problem(readChange(made("sa{sv}", interface, 0))), missing);
}

TEST_F(BusReplies, TenThousandPropertiesAreParsed) {
  sd_bus_message* message = nullptr;
  ASSERT_GE(sd_bus_message_new_signal(wire_.bus(), &message, "/org/example", "org.example.Service", "Changed"), 0);
  const BusWire::Message owned(message);
  sd_bus_message_append(message, "s", interface);
  sd_bus_message_open_container(message, 'a', "{sv}");
  for (int i = 0; i < 10'000; ++i) sd_bus_message_append(message, "{sv}", "Other", "s", "text");
  sd_bus_message_append(message, "{sv}", "Metered", "u", 1U);
  sd_bus_message_close_container(message);
  sd_bus_message_append(message, "as", 0);
  ASSERT_GE(sd_bus_message_seal(message, 1, 0), 0);
  EXPECT_EQ(readChange(owned)->number, 1U);
}

TEST_F(BusReplies, AuthorizationIsParsedWithItsDetails) {
  for (const auto& [isAuthorized, needsTheUser] :
       {std::pair(0, 0), std::pair(0, 1), std::pair(1, 0), std::pair(1, 1)}) {
    const auto read = readAuthorization(made("(bba{ss})", isAuthorized, needsTheUser, 0).get());
    ASSERT_TRUE(read.has_value()) << problem(read);
    EXPECT_EQ(read->isAuthorized, isAuthorized != 0);
    EXPECT_EQ(read->needsTheUser, needsTheUser != 0);
    EXPECT_FALSE(read->isDismissed);
  }
  EXPECT_TRUE(readAuthorization(made("(bba{ss})", 0, 0, 2, "polkit.retains", "1", "polkit.dismissed", "true").get())
                  ->isDismissed);
  EXPECT_FALSE(readAuthorization(made("(bba{ss})", 0, 0, 1, "polkit.dismissed", "").get())->isDismissed);
  EXPECT_FALSE(readAuthorization(made("(bba{ss})", 0, 0, 1, "dismissed", "true").get())->isDismissed);
}

TEST_F(BusReplies, AuthorizationOfAnotherTypeIsRefused) {
  EXPECT_EQ(problem(readAuthorization(made("b", 1).get())), otherType);
  EXPECT_EQ(problem(readAuthorization(made("bba{ss}", 1, 0, 0).get())), otherType);
  EXPECT_EQ(problem(readAuthorization(made("(bb)", 1, 0).get())), otherType);
  EXPECT_EQ(problem(readAuthorization(made("(uba{ss})", 1U, 0, 0).get())), otherType);
  EXPECT_EQ(problem(readAuthorization(made("(bba{sv})", 1, 0, 0).get())), otherType);
  EXPECT_EQ(problem(readAuthorization(made("v", "(bba{ss})", 1, 0, 0).get())), otherType);
}

TEST_F(BusReplies, NamesOfErrorsGiveTheirMeaning) {
  EXPECT_EQ(failureOf("org.freedesktop.DBus.Error.ServiceUnknown"), CallFailure::noOwner);
  EXPECT_EQ(failureOf("org.freedesktop.DBus.Error.NameHasNoOwner"), CallFailure::noOwner);
  EXPECT_EQ(failureOf("org.freedesktop.DBus.Error.NoReply"), CallFailure::noAnswer);
  for (const char* what : {"Object", "Method", "Interface", "Property"}) {
    EXPECT_EQ(failureOf(std::string("org.freedesktop.DBus.Error.Unknown") + what), CallFailure::nothingThere);
  }
  EXPECT_EQ(failureOf("org.freedesktop.DBus.Error.AccessDenied"), CallFailure::refused);
  EXPECT_EQ(failureOf(""), CallFailure::refused);
}

}  // namespace
}  // namespace Tessaly
