// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace {

enum class Theme { light, dark };

/// A host's type that can be absent. The absent value has a stored form, too.
struct Nickname {
  using StoredValue = std::string;
  constexpr Nickname(std::nullopt_t) {}
  explicit Nickname(std::string name) : text(std::move(name)) {}
  static std::optional<Nickname> from(StoredValue stored) { return Nickname(std::move(stored)); }
  [[nodiscard]] StoredValue transformToUserDefaultValue() const { return text.value_or("nobody"); }

  std::optional<std::string> text;
};

/// A host's type that gives a meaning to an absent stored value.
struct Visits {
  using StoredValue = std::optional<int>;
  static std::optional<Visits> from(StoredValue stored) { return Visits{stored.value_or(-1)}; }
  [[nodiscard]] StoredValue transformToUserDefaultValue() const {
    return count < 0 ? std::nullopt : std::optional(count);
  }

  int count;
};

}  // namespace

template <>
inline constexpr auto Tessaly::rawValues<Theme> =
    Tessaly::textRawValues<Theme>({{Theme::light, "light"}, {Theme::dark, "dark"}});
template <>
struct Tessaly::AnyOptionalTraits<Nickname> {
  static bool isNil(const Nickname& value) { return !value.text; }
};

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Number = std::int64_t;
using MaybeNumber = std::optional<Number>;

constexpr Default<Number>::Key volumeKey{"volume", 50};

class DefaultTest : public testing::Test {
 protected:
  const std::shared_ptr<InMemoryUserDefaults> store = InMemoryUserDefaults::make();
  const UserDefaultsInstallation installation{store};
};

// Keys.

TEST(DefaultKey, HasANameAndADefault) {
  static_assert(volumeKey.name() == "volume");
  static_assert(volumeKey.defaultValue() == 50);
}

TEST(DefaultKey, NameThatIsNotALiteralIsCopied) {
  std::optional<Default<Number>::Key> copy;
  {
    std::string name = "a name that is far too long for a small buffer ";
    const Default<Number>::Key key(name + "1", 3);
    copy = key;
    name.assign(name.size(), 'x');
  }
  EXPECT_EQ(copy->name(), "a name that is far too long for a small buffer 1");
  const auto moved = std::move(*copy);
  copy.reset();
  EXPECT_EQ(moved.name(), "a name that is far too long for a small buffer 1");
  EXPECT_EQ(moved.defaultValue(), 3);
}

TEST(DefaultKey, OptionalNeedsOnlyAName) {
  constexpr Default<MaybeNumber>::Key literal = "page";
  static_assert(literal.name() == "page" && !literal.defaultValue());
  const Default<MaybeNumber>::Key named(std::string("page ") + "2");
  EXPECT_EQ(named.name(), "page 2");
  EXPECT_EQ(named.defaultValue(), std::nullopt);
  constexpr Default<MaybeNumber>::Key withDefault{"page", 7};
  static_assert(withDefault.defaultValue() == 7);
  constexpr Default<MaybeNumber>::Key cluster = "e\u0301";
  static_assert(cluster.name() == "e\u0301");
  static_assert(!std::is_convertible_v<const char(&)[5], Default<Number>::Key>);
}

template <typename Value, typename Argument>
concept CanBeStored = requires(typename Default<Value>::Key key, Argument argument) {
  Default<Value>::setValue(key, argument);
  typename Default<Value>::Key(std::string(), argument);
};

TEST(DefaultKey, TextIsRefusedForABoolean) {
  static_assert(CanBeStored<bool, bool> && CanBeStored<bool, int> && CanBeStored<std::string, const char*>);
  static_assert(!CanBeStored<bool, const char*> && !CanBeStored<std::optional<bool>, const char*>);
}

TEST(DefaultKey, NameMayContainNUL) {
  constexpr Default<Number>::Key key{"a\0b", 1};
  EXPECT_EQ(key.name(), std::string_view("a\0b", 3));
}

// Reading and writing.

TEST_F(DefaultTest, ReadsTheDefaultWhileNothingIsStored) {
  Default<Number> volume(volumeKey);
  EXPECT_EQ(volume.value(), 50);
  volume.setValue(30);
  EXPECT_EQ(volume.value(), 30);
  EXPECT_EQ(store->value("volume"), PropertyList(30));
  store->setFromElsewhere(std::nullopt, "volume");
  EXPECT_EQ(volume.value(), 50);
}

TEST_F(DefaultTest, ObjectOfAnotherKindReadsAsTheDefaultAndStays) {
  store->set("loud", "volume");
  EXPECT_EQ(Default<Number>(volumeKey).value(), 50);
  EXPECT_EQ(Default<Number>::value(volumeKey), 50);
  EXPECT_EQ(store->value("volume"), PropertyList("loud"));
}

TEST_F(DefaultTest, BooleanStoredAsAnIntegerReadsAsABoolean) {
  constexpr Default<bool>::Key key{"flag", false};
  store->set(1, "flag");
  EXPECT_TRUE(Default<bool>::value(key));
  store->set(2, "flag");
  EXPECT_FALSE(Default<bool>::value(key));
}

TEST_F(DefaultTest, ArrayWithAForeignElementReadsAsTheDefault) {
  const Default<std::vector<Number>>::Key key{"numbers", {9}};
  store->set(PropertyList::Array{1, "x", 2}, "numbers");
  EXPECT_THAT(Default<std::vector<Number>>::value(key), ElementsAre(9));
}

TEST_F(DefaultTest, ArrayOfCasesOmitsUnknownRawValues) {
  const Default<std::vector<Theme>>::Key key{"themes", {}};
  store->set(PropertyList::Array{"dark", "zz", "light"}, "themes");
  EXPECT_THAT(Default<std::vector<Theme>>::value(key), ElementsAre(Theme::dark, Theme::light));
  store->set(PropertyList::Dictionary{{"a", "zz"}, {"b", "dark"}}, "named");
  const Default<std::map<std::string, Theme>>::Key named{"named", {}};
  EXPECT_EQ((Default<std::map<std::string, Theme>>::value(named)), (std::map<std::string, Theme>{{"b", Theme::dark}}));
}

TEST_F(DefaultTest, UnknownRawValueReadsAsTheDefault) {
  constexpr Default<Theme>::Key key{"theme", Theme::light};
  store->set("zz", "theme");
  EXPECT_EQ(Default<Theme>::value(key), Theme::light);
  Default<Theme>::setValue(key, Theme::dark);
  EXPECT_EQ(store->value("theme"), PropertyList("dark"));
  EXPECT_EQ(Default<Theme>::value(key), Theme::dark);
}

TEST_F(DefaultTest, UnwrittenOptionalReadsAsItsDefault) {
  constexpr Default<MaybeNumber>::Key key{"page", 7};
  EXPECT_EQ(Default<MaybeNumber>::value(key), 7);
  EXPECT_EQ(Default<MaybeNumber>("page").value(), std::nullopt);
}

TEST_F(DefaultTest, WritingTheAbsentValueRemovesTheEntry) {
  Default<MaybeNumber> page(Default<MaybeNumber>::Key{"page", 7});
  page.setValue(3);
  EXPECT_EQ(store->value("page"), PropertyList(3));
  page.setValue(std::nullopt);
  EXPECT_EQ(store->value("page"), std::nullopt);
  EXPECT_EQ(page.value(), 7);
  Default<MaybeNumber>::setValue(page.key(), 4);
  Default<MaybeNumber>::setValue(page.key(), std::nullopt);
  EXPECT_THAT(store->dictionaryRepresentation(), IsEmpty());
}

TEST_F(DefaultTest, HostsOwnAbsentValueRemovesTheEntry) {
  constexpr Default<Nickname>::Key key("nickname");
  Default<Nickname>::setValue(key, Nickname("Kim"));
  EXPECT_EQ(store->value("nickname"), PropertyList("Kim"));
  Default<Nickname>::setValue(key, std::nullopt);
  EXPECT_EQ(store->value("nickname"), std::nullopt);
  EXPECT_EQ(Default<Nickname>::value(key).text, std::nullopt);
}

TEST_F(DefaultTest, ConversionMayReceiveAnAbsentStoredValue) {
  const Default<Visits>::Key key{"visits", Visits{7}};
  EXPECT_EQ(Default<Visits>::value(key).count, -1);
  store->set("many", "visits");
  EXPECT_EQ(Default<Visits>::value(key).count, 7);
  Default<Visits>::setValue(key, Visits{3});
  EXPECT_EQ(store->value("visits"), PropertyList(3));
  Default<Visits>::setValue(key, Visits{-1});
  EXPECT_EQ(store->value("visits"), std::nullopt);
}

TEST_F(DefaultTest, NestedAbsentOptionalRemovesTheEntry) {
  using Nested = std::optional<MaybeNumber>;
  const Default<Nested>::Key key("nested");
  Default<Nested>::setValue(key, Nested(MaybeNumber(1)));
  EXPECT_EQ(store->value("nested"), PropertyList(1));
  EXPECT_EQ(Default<Nested>::value(key), Nested(MaybeNumber(1)));
  Default<Nested>::setValue(key, Nested(MaybeNumber()));
  EXPECT_EQ(store->value("nested"), std::nullopt);
}

TEST_F(DefaultTest, AnyTextIsAName) {
  for (const std::string& name : {std::string(), std::string("a.b.c"), std::string("n\0l", 3), std::string(10'000, 'k'),
                                  std::string("\xC3\xBC"), std::string("a\xFF")}) {
    const Default<Number>::Key key(name, 1);
    const Default<Number> setting(key);
    std::vector<Number> seen;
    const auto observer = Default<Number>::observe(key, [&](Number stored) { seen.push_back(stored); });
    int told = 0;
    withObservationTracking([&] { static_cast<void>(setting.value()); }, [&] { ++told; });
    Default<Number>::setValue(key, 5);
    EXPECT_EQ(setting.value(), 5);
    EXPECT_THAT(seen, ElementsAre(5));
    EXPECT_EQ(told, 1);
  }
}

TEST_F(DefaultTest, URLIsReadBackAsARelativeURL) {
  const Default<std::optional<URL>>::Key key("file");
  Default<std::optional<URL>>::setValue(key, URL::from("file:///tmp/a%20b.txt"));
  EXPECT_EQ(store->value("file"), PropertyList("/tmp/a b.txt"));
  EXPECT_EQ(Default<std::optional<URL>>::value(key)->path(), "/tmp/a b.txt");
  store->set("1:2", "file");
  EXPECT_EQ(Default<std::optional<URL>>::value(key), std::nullopt);
}

TEST_F(DefaultTest, ReadsAndWritesOnceWithoutAnObject) {
  Default<Number>::setValue(volumeKey, 20);
  EXPECT_EQ(Default<Number>::value(volumeKey), 20);
}

TEST_F(DefaultTest, ModifyingStoresTheValueAndReturnsTheBodysResult) {
  Default<Number> volume(volumeKey);
  EXPECT_EQ(volume.modifyValue([](Number& value) { return value++; }), 50);
  EXPECT_EQ(store->value("volume"), PropertyList(51));
  Default<Number>::modifyValue(volumeKey, [](Number& value) { value *= 2; });
  EXPECT_EQ(volume.value(), 102);
}

TEST_F(DefaultTest, ModifyingStoresAnUnchangedValueToo) {
  Default<Number> volume(volumeKey);
  volume.modifyValue([](Number&) {});
  EXPECT_EQ(store->value("volume"), PropertyList(50));
}

TEST_F(DefaultTest, ModifyingStoresTheChangesOfAThrowingBody) {
  Default<Number> volume(volumeKey);
  const auto abandon = [](Number& value) {
    value = 13;
    throw std::runtime_error("abandoned");
  };
  EXPECT_THROW(volume.modifyValue(abandon), std::runtime_error);
  EXPECT_EQ(volume.value(), 13);
  store->removeObject("volume");
  EXPECT_THROW(Default<Number>::modifyValue(volumeKey, abandon), std::runtime_error);
  EXPECT_EQ(volume.value(), 13);
}

TEST_F(DefaultTest, CopiesShareTheirBacking) {
  const Default<Number> volume(volumeKey);
  const Default<Number> copy = volume;
  EXPECT_EQ(volume.backing(), copy.backing());
  EXPECT_NE(volume.backing(), Default<Number>(volumeKey).backing());
  EXPECT_EQ(volume.backing()->key().name(), "volume");
  EXPECT_EQ(volume.backing()->storage(), UserDefaults::standard());
}

// On disk.

template <typename Value>
void store(const char* name, const Value& value) {
  Default<Value>::setValue(typename Default<Value>::Key(std::string_view(name), value), value);
}

TEST_F(DefaultTest, StaysUsableAfterAMove) {
  Default<Number> volume(volumeKey);
  const Default<Number> moved = std::move(volume);
  EXPECT_EQ(volume.value(), 50);
  EXPECT_EQ(volume.backing(), moved.backing());
  EXPECT_EQ(volume.key().name(), "volume");
}

TEST_F(DefaultTest, AllocatesOnlyTheNecessaryCopies) {
  const std::string text(100'000, 'x');
  const Default<std::string>::Key key("text", "");
  const Default<std::vector<std::string>>::Key listKey("list", {});
  const std::vector<std::string> list(100, std::string(1'000, 'x'));
  Default<std::string>::setValue(key, text);
  Default<std::vector<std::string>>::setValue(listKey, list);
  EXPECT_EQ(Tests::allocationsOf([&] { EXPECT_EQ(Default<std::string>::value(key).size(), text.size()); }), 1);
  EXPECT_EQ(Tests::allocationsOf([&] { EXPECT_EQ(Default<std::vector<std::string>>::value(listKey).size(), 100U); }),
            101);
  // The allocations are the elements, a vector of them, a box for each, and a few for the array and the store.
  EXPECT_LE(Tests::allocationsOf([&] { Default<std::vector<std::string>>::setValue(listKey, list); }), 211);
}

TEST(DefaultOnDisk, IsAPlainValueOfThePropertyList) {
  const Tests::TemporaryFolder folder;
  const auto disk = JournaledUserDefaults::open({.folder = folder.path()});
  const UserDefaultsInstallation installation(disk);
  store("text", std::string("ü"));
  store("true", true);
  store("int16", std::numeric_limits<std::int16_t>::min());
  store("int32", std::numeric_limits<std::int32_t>::min());
  store("int64", std::numeric_limits<std::int64_t>::min());
  store("int", std::numeric_limits<long long>::max());
  store("uint8", std::numeric_limits<std::uint8_t>::max());
  store("uint16", std::numeric_limits<std::uint16_t>::max());
  store("uint32", std::numeric_limits<std::uint32_t>::max());
  store("uint64", std::numeric_limits<std::uint64_t>::max());
  store("uint", std::numeric_limits<unsigned long long>::max());
  store("double", 0.1);
  store("float", 0.1F);
  store("date", Date::sinceReferenceDate(86'400));
  store("data", Data("\x01\xFF"));
  store("array", std::vector<std::vector<bool>>{{true}, {}});
  store("dictionary", std::map<std::string, std::optional<int>>{{"", 1}, {"none", std::nullopt}});
  store("optional", MaybeNumber(7));
  store("absent", MaybeNumber());
  store("theme", Theme::dark);
  store("themes", std::vector{Theme::dark, Theme::light});
  store("visits", Visits{3});
  Default<URL>::setValue({"url", *URL::from("/")}, URL::fileURLWithPath("/tmp/a b.txt"));
  ASSERT_TRUE(disk->synchronize());
  EXPECT_EQ(Tests::outputOf("python3 -c \"import plistlib\n"
                            "for item in sorted(plistlib.load(open('" +
                            folder.path() + "/Settings.plist', 'rb')).items()): print(*item)\""),
            "array [[True], []]\n"
            "data b'\\x01\\xff'\n"
            "date 2001-01-02 00:00:00\n"
            "dictionary {'': 1}\n"
            "double 0.1\n"
            "float 0.10000000149011612\n"
            "int 9223372036854775807\n"
            "int16 -32768\n"
            "int32 -2147483648\n"
            "int64 -9223372036854775808\n"
            "optional 7\n"
            "text ü\n"
            "theme dark\n"
            "themes ['dark', 'light']\n"
            "true True\n"
            "uint 18446744073709551615\n"
            "uint16 65535\n"
            "uint32 4294967295\n"
            "uint64 18446744073709551615\n"
            "uint8 255\n"
            "url /tmp/a b.txt\n"
            "visits 3\n");
}

// Observation.

/// The number of times that a tracking reader of the setting is notified during the changes.
template <typename Value, typename Changes>
int toldDuring(const Default<Value>& setting, Changes changes) {
  const auto told = std::make_shared<int>(0);  // The end of the setting is a change as well.
  withObservationTracking([&] { static_cast<void>(setting.value()); }, [told] { ++*told; });
  changes();
  return *told;
}

TEST_F(DefaultTest, ReaderIsNotifiedOfChangesByAnyWriter) {
  Default<Number> volume(volumeKey);
  EXPECT_EQ(toldDuring(volume, [&] { volume.setValue(1); }), 1);
  EXPECT_EQ(toldDuring(volume, [] { Default<Number>(volumeKey).setValue(2); }), 1);
  EXPECT_EQ(toldDuring(volume, [] { Default<Number>::setValue(volumeKey, 3); }), 1);
  EXPECT_EQ(toldDuring(volume, [&] { store->set(4, "volume"); }), 1);
  EXPECT_EQ(toldDuring(volume, [&] { store->setFromElsewhere(5, "volume"); }), 1);
  EXPECT_EQ(toldDuring(volume, [&] { store->removeObject("volume"); }), 1);
  EXPECT_EQ(toldDuring(volume,
                       [&] {
                         volume.setValue(6);
                         volume.setValue(7);
                       }),
            1);
}

TEST_F(DefaultTest, NotifiedReaderReadsTheNewValue) {
  Default<Number> volume(volumeKey);
  Number seen = 0;
  withObservationTracking([&] { static_cast<void>(volume.value()); }, [&] { seen = volume.value(); });
  volume.setValue(8);
  EXPECT_EQ(seen, 8);
}

TEST_F(DefaultTest, EqualWritesAndOtherKeysDoNotNotify) {
  Default<Number> volume(volumeKey);
  volume.setValue(1);
  EXPECT_EQ(toldDuring(volume,
                       [&] {
                         volume.setValue(1);
                         store->set(1.0, "volume");
                         store->set(1, "other");
                         store->set(1, "volume.left");
                       }),
            0);
}

TEST_F(DefaultTest, UnreadableValueNotifiesReaders) {
  Default<Number> volume(volumeKey);
  EXPECT_EQ(toldDuring(volume, [&] { store->set("loud", "volume"); }), 1);
}

TEST_F(DefaultTest, StaticReadIsNotTracked) {
  int told = 0;
  withObservationTracking([] { static_cast<void>(Default<Number>::value(volumeKey)); }, [&] { ++told; });
  store->set(1, "volume");
  EXPECT_EQ(told, 0);
}

TEST_F(DefaultTest, BackingObservesUntilItIsReleased) {
  auto backing = Default<Number>::Backing::make(volumeKey, store);
  const std::weak_ptr<KeyValueObserver> gone = backing;
  backing->setValue(1);
  backing.reset();
  EXPECT_TRUE(gone.expired());
  store->set(2, "volume");
}

TEST_F(DefaultTest, BackingReactsOnlyToANewValueOfItsKey) {
  const auto backing = Default<Number>::Backing::make(volumeKey, store);
  const auto told = [&](std::optional<std::string_view> keyPath, const std::optional<KeyValueChange>& change) {
    const auto count = std::make_shared<int>(0);
    withObservationTracking([&] { static_cast<void>(backing->value()); }, [count] { ++*count; });
    backing->observeValue(keyPath, store.get(), change, nullptr);
    return *count;
  };
  const KeyValueChange toFive{.newValue = KeyValueChange::ObjectOrNull(5)};
  EXPECT_EQ(told("volume", toFive), 1);
  EXPECT_EQ(told("volume", KeyValueChange{.newValue = KeyValueChange::null()}), 1);
  EXPECT_EQ(told("volume", KeyValueChange{}), 0);
  EXPECT_EQ(told("volume", std::nullopt), 0);
  EXPECT_EQ(told("Volume", toFive), 0);
  EXPECT_EQ(told(std::nullopt, toFive), 0);
}

// Change handlers.

TEST_F(DefaultTest, HandlerGetsEachStoredValue) {
  std::vector<Number> seen;
  const auto observer = Default<Number>::observe(volumeKey, [&](Number stored) { seen.push_back(stored); });
  EXPECT_TRUE(observer->isObserving());
  Default<Number>::setValue(volumeKey, 5);
  store->setFromElsewhere(6.0, "volume");
  EXPECT_THAT(seen, ElementsAre(5, 6));
}

TEST_F(DefaultTest, RemovalIsDeliveredOnlyToOptionalSettings) {
  std::vector<Number> numbers;
  std::vector<MaybeNumber> optionals;
  const auto first = Default<Number>::observe(volumeKey, [&](Number stored) { numbers.push_back(stored); });
  const auto second =
      Default<MaybeNumber>::observe("volume", [&](const MaybeNumber& stored) { optionals.push_back(stored); });
  store->set(5, "volume");
  store->removeObject("volume");
  EXPECT_THAT(numbers, ElementsAre(5));
  EXPECT_THAT(optionals, ElementsAre(MaybeNumber(5), MaybeNumber()));
}

TEST_F(DefaultTest, UnconvertibleValueIsNotDelivered) {
  int calls = 0;
  const auto number = Default<Number>::observe(volumeKey, [&](Number) { ++calls; });
  const auto optional = Default<MaybeNumber>::observe("volume", [&](const MaybeNumber&) { ++calls; });
  store->set("loud", "volume");
  EXPECT_EQ(calls, 0);
}

TEST_F(DefaultTest, HandlerGetsTheStoredForm) {
  std::vector<std::string> seen;
  constexpr Default<Theme>::Key key{"theme", Theme::light};
  const auto observer = Default<Theme>::observe(key, [&](const std::string& stored) { seen.push_back(stored); });
  store->set("zz", "theme");
  Default<Theme>::setValue(key, Theme::dark);
  EXPECT_THAT(seen, ElementsAre("zz", "dark"));
}

TEST_F(DefaultTest, HandlerDistinguishesItsProcessFromOthers) {
  std::vector<ChangeOrigin> origins;
  const auto observer =
      Default<Number>::observe(volumeKey, [&](Number, ChangeOrigin origin) { origins.push_back(origin); });
  store->set(1, "volume");
  store->setFromElsewhere(2, "volume");
  EXPECT_THAT(origins, ElementsAre(ChangeOrigin::thisProcess, ChangeOrigin::otherProcess));
}

TEST_F(DefaultTest, HandlerIsCalledOnTheWritingThread) {
  std::thread::id called;
  const auto observer = Default<Number>::observe(volumeKey, [&](Number) { called = std::this_thread::get_id(); });
  std::thread writer([] { Default<Number>::setValue(volumeKey, 1); });
  const auto expected = writer.get_id();
  writer.join();
  EXPECT_EQ(called, expected);
}

TEST_F(DefaultTest, HandlerMayWriteItsSetting) {
  const auto observer = Default<Number>::observe(volumeKey, [](Number stored) {
    if (stored < 10) Default<Number>::setValue(volumeKey, stored + 1);
  });
  Default<Number>::setValue(volumeKey, 1);
  EXPECT_EQ(Default<Number>::value(volumeKey), 10);
}

TEST_F(DefaultTest, HandlerMayReleaseItsOwnObserver) {
  int calls = 0;
  std::shared_ptr<Default<Number>::ValueObserver> observer;
  observer = Default<Number>::observe(volumeKey, [&](Number) {
    ++calls;
    observer.reset();
  });
  store->set(1, "volume");
  store->set(2, "volume");
  EXPECT_EQ(calls, 1);
}

TEST_F(DefaultTest, ReleasingTheObserverEndsTheCalls) {
  int calls = 0;
  auto observer = Default<Number>::observe(volumeKey, [&](Number) { ++calls; });
  store->set(1, "volume");
  observer.reset();
  store->set(2, "volume");
  EXPECT_EQ(calls, 1);
}

TEST_F(DefaultTest, HandlerMayReleaseTheNextObserver) {
  int calls = 0;
  std::shared_ptr<Default<Number>::ValueObserver> second;
  const auto first = Default<Number>::observe(volumeKey, [&](Number) { second.reset(); });
  second = Default<Number>::observe(volumeKey, [&](Number) { ++calls; });
  store->set(1, "volume");
  EXPECT_EQ(calls, 0);
}

TEST_F(DefaultTest, ReleasingTheObserverWaitsForACallOnAnotherThread) {
  for (int round = 0; round < Tests::repetitions(50); ++round) {
    std::binary_semaphore isBegun{0};
    std::atomic<bool> isOver = false;
    const auto captured = std::make_shared<int>();
    auto observer = Default<Number>::observe(volumeKey, [&, captured](Number) {
      isBegun.release();
      std::this_thread::sleep_for(std::chrono::microseconds(200));
      isOver = true;
    });
    std::thread writer([&] { store->set(round, "volume"); });
    isBegun.acquire();
    observer.reset();
    EXPECT_TRUE(isOver);
    EXPECT_EQ(captured.use_count(), 1);
    writer.join();
  }
}

TEST_F(DefaultTest, ReleasingTheObserverDuringWritesEndsTheCalls) {
  for (int round = 0; round < Tests::repetitions(50); ++round) {
    auto calls = std::make_unique<std::atomic<int>>(0);
    auto observer = Default<Number>::observe(volumeKey, [&counter = *calls](Number) { counter.fetch_add(1); });
    std::vector<std::thread> writers;
    for (int thread = 0; thread < 2; ++thread) {
      writers.emplace_back([this, thread] {
        for (int i = 0; i < 100; ++i) store->set(i * 2 + thread, "volume");
      });
    }
    if (round % 2 == 0) std::this_thread::yield();
    observer.reset();
    calls.reset();  // A sanitizer reports a handler that still counts.
    for (std::thread& writer : writers) writer.join();
  }
}

TEST_F(DefaultTest, HandlerMayReleaseItsObserverInANestedCall) {
  int calls = 0;
  std::shared_ptr<Default<Number>::ValueObserver> observer;
  observer = Default<Number>::observe(volumeKey, [&, kept = std::make_unique<int>(0)](Number stored) {
    ++calls;
    if (stored == 1) store->set(2, "volume");
    if (stored == 2) observer.reset();
    ++*kept;  // The captures still exist.
  });
  store->set(1, "volume");
  store->set(3, "volume");
  EXPECT_EQ(calls, 2);
}

TEST_F(DefaultTest, EmptyHandlerIsNotCalled) {
  const auto observer = Default<Number>::observe(volumeKey, std::function<void(Number)>());
  const auto other = Default<Number>::observe(volumeKey, static_cast<void (*)(Number)>(nullptr));
  EXPECT_TRUE(observer->isObserving());
  store->set(1, "volume");
  EXPECT_TRUE(other->isObserving());
}

TEST_F(DefaultTest, IdleObserverStartsOnceAndKeepsItsFirstHandler) {
  std::vector<std::string> calls;
  const auto observer = Default<Number>::ValueObserver::make(store, volumeKey);
  EXPECT_FALSE(observer->isObserving());
  store->set(1, "volume");
  observer->startObservingIfNeeded([&](Number stored) { calls.push_back("first " + std::to_string(stored)); });
  const auto token = std::make_shared<int>();
  observer->startObservingIfNeeded([&, token](Number) { calls.push_back("second"); });
  EXPECT_EQ(token.use_count(), 1);
  store->set(2, "volume");
  EXPECT_THAT(calls, ElementsAre("first 2"));
  EXPECT_EQ(observer->userDefault(), store);
  EXPECT_EQ(observer->key().name(), "volume");
}

TEST_F(DefaultTest, UnstartedObserverIsReleasedSafely) {
  const auto observing = Default<Number>::observe(volumeKey, [](Number) {});
  Default<Number>::ValueObserver::make(store, volumeKey).reset();
  EXPECT_TRUE(observing->isObserving());
}

TEST_F(DefaultTest, MissingEntryInAChangeMeansAbsence) {
  std::vector<MaybeNumber> seen;
  const auto observer =
      Default<MaybeNumber>::observe("volume", [&](const MaybeNumber& stored) { seen.push_back(stored); });
  const KeyValueChange toFive{.newValue = KeyValueChange::ObjectOrNull(5)};
  observer->observeValue(std::nullopt, store.get(), toFive, nullptr);
  observer->observeValue("Volume", store.get(), toFive, nullptr);
  EXPECT_THAT(seen, IsEmpty());
  observer->observeValue("volume", store.get(), toFive, nullptr);
  observer->observeValue("volume", store.get(), std::nullopt, nullptr);
  observer->observeValue("volume", store.get(), KeyValueChange{}, nullptr);
  EXPECT_THAT(seen, ElementsAre(MaybeNumber(5), MaybeNumber(), MaybeNumber()));
}

TEST_F(DefaultTest, IdleObserverIgnoresChanges) {
  const auto observer = Default<Number>::ValueObserver::make(store, volumeKey);
  observer->observeValue("volume", store.get(), KeyValueChange{.newValue = KeyValueChange::ObjectOrNull(5)}, nullptr);
  EXPECT_FALSE(observer->isObserving());
}

// The registered classes.

using DefaultDeathTest = DefaultTest;

TEST_F(DefaultDeathTest, MakingObjectsWithoutArgumentsStopsTheProcess) {
  const auto observer = Default<Number>::observe(volumeKey, [](Number) {});
  EXPECT_EQ(observer->className(), "Tessaly.ValueObserver");
  EXPECT_EQ(Default<Number>(volumeKey).backing()->className(), "Tessaly.Backing");
  const auto report = [](const std::string& name) {
    return "Tessaly/Default:[0-9]+: Fatal error: Use of unimplemented initializer 'init\\(\\)' for class '" + name +
           "'\n";
  };
  using testing::KilledBySignal;
  EXPECT_EXIT(static_cast<void>(Object::make("Tessaly.Backing")), KilledBySignal(SIGABRT), report("Tessaly.Backing"));
  EXPECT_EXIT(static_cast<void>(Object::make("Tessaly.ValueObserver")), KilledBySignal(SIGABRT),
              report("Tessaly.ValueObserver"));
  EXPECT_EXIT(static_cast<void>(Default<Number>::Backing::make()), KilledBySignal(SIGABRT), report("Tessaly.Backing"));
  EXPECT_EXIT(static_cast<void>(Default<Number>::ValueObserver::make()), KilledBySignal(SIGABRT),
              report("Tessaly.ValueObserver"));
}

TEST(DefaultClassesDeathTest, AreKnownBeforeTheFirstObjectIsMade) {
  for (const std::string name : {"Tessaly.Backing", "Tessaly.ValueObserver"}) {
    EXPECT_EXIT(static_cast<void>(Object::make(name)), testing::KilledBySignal(SIGABRT),
                "Tessaly/Default:[0-9]+: Fatal error: Use of unimplemented initializer 'init\\(\\)' for class '" +
                    name + "'\n");
  }
}

TEST_F(DefaultDeathTest, ThrowingHandlerStopsTheProcess) {
  const auto observer = Default<Number>::observe(volumeKey, [](Number) { throw std::runtime_error("thrown"); });
  EXPECT_EXIT(store->set(1, "volume"), testing::KilledBySignal(SIGABRT), "observer.*thrown");
}

}  // namespace
}  // namespace Tessaly
