// SPDX-License-Identifier: MIT
// Files that python's plistlib, malicious programs or the user have written, damaged, moved or linked.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

using namespace std::string_literals;
using Dictionary = PropertyList::Dictionary;
using Tests::contentsOf;
using Tests::outputOf;
using Tests::waitUntil;

class SettingsForeignFiles : public Tests::StoreFixture {
 protected:
  using StoreFixture::replace;
  /// Replaces a file atomically.
  void replace(const std::string& path, std::string_view bytes) {
    write(above() + "/other", bytes);
    std::filesystem::rename(above() + "/other", path);
  }
  std::string python(const std::string& script) {
    write(above() + "/script.py", script);
    return outputOf("python3 '" + above() + "/script.py' '" + plist() + "' 2>&1");
  }
};

// The way in which another program writes a file.

enum class Manner { inPlace, replaced };

class SettingsAndPython : public SettingsForeignFiles {
 protected:
  void readAndWriteTheSame(PropertyListFormat format, Manner manner);
};

void SettingsAndPython::readAndWriteTheSame(PropertyListFormat format, Manner manner) {
  const std::string formatName = format == PropertyListFormat::xml ? "plistlib.FMT_XML" : "plistlib.FMT_BINARY";
  std::filesystem::create_directory(folder());
  replace(plist(), PropertyListSerialization::data(Dictionary{{"mine", 1}, {"gone", true}}, format).text());
  const Store store = open();
  store->set(0.25, "ours");
  ASSERT_TRUE(store->synchronize());
  store->set("no checkpoint holds this", "late");
  EXPECT_EQ(python("import os, plistlib, sys, datetime\n"
                   "path = sys.argv[1]\n"
                   "with open(path, 'rb') as file: values = plistlib.load(file)\n"
                   "assert values == {'mine': 1, 'gone': True, 'ours': 0.25}, values\n"
                   "del values['gone']\n"
                   "values['mine'] = 2 ** 64 - 1\n"
                   "values['new'] = [b'\\0\\xff', datetime.datetime(2001, 1, 2), {'ü': -2 ** 63}, False, 5e-324]\n" +
                   (manner == Manner::inPlace
                        ? "with open(path, 'r+b') as file:\n"
                          "  file.truncate()\n"
                          "  plistlib.dump(values, file, fmt=" +
                              formatName + ")\n"
                        : "with open(path + '.tmp', 'wb') as file: plistlib.dump(values, file, fmt=" + formatName +
                              ")\n"
                              "os.replace(path + '.tmp', path)\n") +
                   "print('done')"),
            "done\n");
  const Dictionary expected{{"mine", std::uint64_t{18446744073709551615U}},
                            {"new", PropertyList::Array{Data("\0\xFF"s), Date::sinceReferenceDate(86'400),
                                                        Dictionary{{"ü", INT64_MIN}}, false, 5e-324}},
                            {"ours", 0.25},
                            {"late", "no checkpoint holds this"}};
  ASSERT_TRUE(waitUntil([&] { return store->value("new").has_value() && !store->value("gone"); }));
  EXPECT_TRUE(PropertyList(store->dictionaryRepresentation()).isIdentical(expected));
  ASSERT_TRUE(store->synchronize());
  EXPECT_TRUE(onDisk().isIdentical(expected));
  EXPECT_EQ(contentsOf(plist()).starts_with("<?xml"), format == PropertyListFormat::xml);
  EXPECT_EQ(python("import plistlib, sys, datetime\n"
                   "with open(sys.argv[1], 'rb') as file: values = plistlib.load(file)\n"
                   "print(values == {'mine': 2 ** 64 - 1, 'ours': 0.25, 'late': 'no checkpoint holds this',\n"
                   "  'new': [b'\\0\\xff', datetime.datetime(2001, 1, 2), {'ü': -2 ** 63}, False, 5e-324]})"),
            "True\n");
}

TEST_F(SettingsAndPython, ReadAndReplaceTheSameBinaryFile) {
  readAndWriteTheSame(PropertyListFormat::binary, Manner::replaced);
}

TEST_F(SettingsAndPython, ReadAndWriteTheSameBinaryFileInPlace) {
  readAndWriteTheSame(PropertyListFormat::binary, Manner::inPlace);
}

TEST_F(SettingsAndPython, ReadAndReplaceTheSameXML) { readAndWriteTheSame(PropertyListFormat::xml, Manner::replaced); }

TEST_F(SettingsAndPython, ReadAndWriteTheSameXMLInPlace) {
  readAndWriteTheSame(PropertyListFormat::xml, Manner::inPlace);
}

// Functions for malformed property lists.

void put(std::string& out, std::uint64_t value, int size) {
  for (int i = size - 1; i >= 0; --i) out += static_cast<char>(value >> (8 * i));
}

/// A binary file of these objects, the first one the root, with references of two bytes.
std::string binaryFile(const std::vector<std::string>& objects) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    put(table, bytes.size(), 4);
    bytes += object;
  }
  const std::size_t offset = bytes.size();
  bytes += table + std::string(6, '\0') + "\4\2";
  put(bytes, objects.size(), 8);
  put(bytes, 0, 8);
  put(bytes, offset, 8);
  return bytes;
}

/// A dictionary with one entry "k", whose value is the third object.
constexpr std::string_view dictionaryOfOne{"\xD1\0\1\0\2", 5};

struct Lie {
  std::string name;
  std::string bytes;
};

std::vector<Lie> lies() {
  const std::string dictionary(dictionaryOfOne);
  std::vector<std::string> deep{dictionary, "\x51k"};
  for (std::uint64_t i = 0; i < 10'000; ++i) {
    deep.emplace_back("\xA1");
    put(deep.back(), i + 3, 2);
  }
  deep.emplace_back("\x09");
  std::string deepText = "<plist><dict><key>k</key>";
  for (int i = 0; i < 10'000; ++i) deepText += "<array>";
  for (int i = 0; i < 10'000; ++i) deepText += "</array>";
  std::vector<std::string> explosion{dictionary, "\x51k"};
  for (std::uint64_t i = 0; i < 60; ++i) {
    explosion.emplace_back("\xA2");
    put(explosion.back(), i + 3, 2);
    put(explosion.back(), i + 3, 2);
  }
  explosion.emplace_back("\x09");
  const std::string whole(PropertyListSerialization::data(Dictionary{{"k", 5}}, PropertyListFormat::binary).text());
  std::string farTable = whole;
  farTable.replace(farTable.size() - 8, 8, 8, '\xFF');
  std::string manyObjects = whole;
  manyObjects.replace(manyObjects.size() - 24, 8, "\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF");
  return {
      {"nothing", ""},
      {"one byte", "b"},
      {"no property list", "damaged"},
      {"cut short", whole.substr(0, whole.size() - 1)},
      {"an array",
       std::string(PropertyListSerialization::data(PropertyList::Array{1}, PropertyListFormat::binary).text())},
      {"nested 10,000 deep", binaryFile(deep)},
      {"nested 10,000 deep in XML", deepText + "</dict></plist>"},
      {"a UID of an archive", binaryFile({dictionary, "\x51k", "\x80\1"s})},
      {"contains itself", binaryFile({dictionary, "\x51k", "\xA1\0\2"s})},
      {"contains itself over an array", binaryFile({dictionary, "\x51k", "\xA1\0\0"s})},
      {"repeats itself without measure", binaryFile(explosion)},
      {"an offset of 2^64", farTable},
      {"a count of 2^63", manyObjects},
      {"an array of 2^63", binaryFile({dictionary, "\x51k", "\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s})},
      {"a text of 2^64", binaryFile({dictionary, "\x51k", "\x5F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s})},
      {"an entity of its own", "<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><dict><key>&a;</key><true/></dict></plist>"},
  };
}

TEST_F(SettingsForeignFiles, MalformedListsAreSetAsideAtTheBeginning) {
  for (const auto& [name, bytes] : lies()) {
    SCOPED_TRACE(name);
    startAnew();
    std::filesystem::create_directory(folder());
    replace(plist(), bytes);
    const Store store = open();
    store->set(1, "a");
    EXPECT_EQ(stored(), (Dictionary{{"a", 1}}));
    clock_.advance(JournaledUserDefaults::damageDelay * 3);
    ASSERT_TRUE(waitUntil([&] { return store->status().damagedFile.has_value(); }));
    EXPECT_EQ(contentsOf(*store->status().damagedFile), bytes);
    EXPECT_TRUE(store->synchronize());
    EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
  }
}

TEST_F(SettingsForeignFiles, MalformedListsAreSetAsideLater) {
  for (const auto& [name, bytes] : lies()) {
    SCOPED_TRACE(name);
    startAnew();
    const Store store = open();
    store->set(1, "a");
    ASSERT_TRUE(store->synchronize());
    store->set(2, "b");
    replace(plist(), bytes);
    EXPECT_FALSE(store->synchronize());  // The store has examined the file and will try again.
    EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}}));
    clock_.advance(JournaledUserDefaults::damageDelay);
    ASSERT_TRUE(waitUntil([&] { return store->status().damagedFile.has_value(); }));
    EXPECT_EQ(contentsOf(*store->status().damagedFile), bytes);
    EXPECT_TRUE(store->synchronize());
    EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}}));
  }
}

TEST_F(SettingsForeignFiles, ThatAreNotRegularStopNoProcessAndStay) {
  const std::string pipe = above() + "/pipe";
  const std::string other = above() + "/other-folder";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::filesystem::create_directories(other + "/within");
  using Make = std::function<void()>;
  const std::vector<std::pair<std::string, Make>> kinds{
      {"folder", [&] { std::filesystem::create_directories(plist() + "/within"); }},
      {"pipe", [&] { ASSERT_EQ(::mkfifo(plist().c_str(), 0600), 0); }},
      {"link to a folder", [&] { std::filesystem::create_directory_symlink("../other-folder", plist()); }},
      {"link to a pipe", [&] { std::filesystem::create_symlink("../pipe", plist()); }},
      {"link to itself", [&] { std::filesystem::create_symlink("Settings.plist", plist()); }}};
  std::ptrdiff_t entries = 2;
  for (const auto& [name, make] : kinds) {
    SCOPED_TRACE(name);
    startAnew();
    ++entries;
    std::filesystem::create_directory(folder());
    make();
    {
      const Store store = open();
      store->set(1, "a");
      EXPECT_EQ(stored(), (Dictionary{{"a", 1}}));
      clock_.advance(JournaledUserDefaults::damageDelay * 3);
      EXPECT_TRUE(waitUntil([&] { return store->synchronize(); }));
    }
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(plist())));
    EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_TRUE(std::filesystem::is_directory(other + "/within"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(above()), {}), entries);
  }
}

TEST_F(SettingsForeignFiles, OfAMalformedOldJournalAreSetAside) {
  std::filesystem::create_directories(folder() + "/journal.old/within");
  {
    const Store store = open();
    store->set(1, "a");
    EXPECT_TRUE(store->synchronize());
    EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
    store->set(2, "a");
  }
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 2}}));
  EXPECT_TRUE(std::filesystem::is_directory(folder() + "/journal.damaged.old/within"));
  EXPECT_FALSE(std::filesystem::exists(folder() + "/journal.old"));
}

constexpr std::uintmax_t largerThanAllMemory = std::uintmax_t{1} << 43;

TEST_F(SettingsForeignFiles, LargerThanAllMemoryLoseNothing) {
  for (const std::string& file : {plist(), journal()}) {
    SCOPED_TRACE(file);
    {
      const Store before = open();
      before->set(1, "a");
      ASSERT_TRUE(before->synchronize());
      before->set("before", "b");
      const auto size = std::filesystem::file_size(file);
      std::filesystem::resize_file(file, largerThanAllMemory);
      before->set("meanwhile", "b");
      EXPECT_EQ(before->value("b"), "meanwhile");
      EXPECT_FALSE(before->synchronize());
      const Store after = open();
      after->set("after", "c");
      EXPECT_EQ(after->value("c"), "after");
      EXPECT_FALSE(after->synchronize());
      std::filesystem::resize_file(file, size);
      EXPECT_TRUE(waitUntil([&] {
        clock_.advance(JournaledUserDefaults::retryDelay);
        return stored() == Dictionary{{"a", 1}, {"b", "meanwhile"}, {"c", "after"}};
      }));
    }
    EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", "meanwhile"}, {"c", "after"}}));
  }
}

TEST_F(SettingsForeignFiles, UnreadableOldJournalStaysUntilItIsReadable) {
  open()->set(1, "a");
  const std::string oldJournal = folder() + "/journal.old";
  std::ofstream(oldJournal, std::ios::binary);
  std::filesystem::resize_file(oldJournal, largerThanAllMemory);
  const Store store = open();
  EXPECT_EQ(store->value("a"), 1);
  store->set(2, "b");
  EXPECT_EQ(store->value("b"), 2);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::systemError);
  EXPECT_EQ(store->status().errorCode, ENOMEM);
  EXPECT_FALSE(store->synchronize());
  EXPECT_EQ(std::filesystem::file_size(oldJournal), largerThanAllMemory);
  std::filesystem::resize_file(oldJournal, 0);
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_FALSE(std::filesystem::exists(oldJournal));
}

// The tests below imitate what users do with files.

TEST_F(SettingsForeignFiles, OfALinkedDirectoryAreAtItsTarget) {
  std::filesystem::create_directory(above() + "/elsewhere");
  std::filesystem::create_directory_symlink("elsewhere", folder());
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  EXPECT_TRUE(std::filesystem::is_symlink(folder()));
  EXPECT_TRUE(std::filesystem::exists(above() + "/elsewhere/Settings.plist"));
  replace({{"a", 2}});
  EXPECT_TRUE(waitUntil([&] { return store->value("a") == 2; }));
}

TEST_F(SettingsForeignFiles, OfADanglingLinkAreMadeAtItsTarget) {
  std::filesystem::create_directory(folder());
  std::filesystem::create_directory(above() + "/elsewhere");
  std::filesystem::create_symlink("../elsewhere/target.plist", plist());
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  EXPECT_TRUE(std::filesystem::is_symlink(plist()));
  EXPECT_TRUE(std::filesystem::is_regular_file(above() + "/elsewhere/target.plist"));
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
}

TEST_F(SettingsForeignFiles, OfADirectoryThatIsMovedAwayAreMadeAgain) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  store->set(2, "b");
  const std::string moved = above() + "/moved";
  std::filesystem::rename(folder(), moved);
  const std::string before = contentsOf(moved + "/journal");
  store->set(3, "c");
  EXPECT_EQ(stored().at("c"), 3);
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
  EXPECT_EQ(contentsOf(moved + "/journal"), before);
}

TEST_F(SettingsForeignFiles, OfADirectoryThatVanishesRepeatedlyLoseNothing) {
  const Store first = JournaledUserDefaults::open({.folder = folder()});
  const Store second = JournaledUserDefaults::open({.folder = folder()});
  Dictionary expected;
  for (int round = 0; round < 10; ++round) {
    const std::string key = "k" + std::to_string(round);
    (round % 2 == 0 ? first : second)->set(round, key);
    expected.insert_or_assign(key, round);
    ASSERT_TRUE(waitUntil([&] { return first->value(key) && second->value(key); })) << round;
    std::filesystem::rename(
        folder(), above() + "/gone");  // A rename moves the directory at once, even while the store makes files in it.
    std::error_code error;
    do {
      std::filesystem::remove_all(above() + "/gone", error);
    } while (error);  // A checkpoint may be removing a file there at the same time.
  }
  EXPECT_TRUE(first->synchronize());
  EXPECT_EQ(first->dictionaryRepresentation(), expected);
  EXPECT_EQ(onDisk(), PropertyList(expected));
}

// The test below concerns the clock.

TEST_F(SettingsForeignFiles, ClockThatWasSetBackConfusesNoFiles) {
  // Every file has a date in the next year, as after the clock was set back.
  const auto setBack = [&] {
    const auto nextYear = std::filesystem::file_time_type::clock::now() + std::chrono::hours(24 * 365);
    for (const auto& entry : std::filesystem::directory_iterator(folder())) {
      std::filesystem::last_write_time(entry, nextYear);
    }
    std::filesystem::last_write_time(folder(), nextYear);
  };
  {
    const Store store = open();
    store->set(1, "a");
    store->set(1, "b");
    ASSERT_TRUE(store->synchronize());
    store->set(2, "b");
    std::filesystem::create_hard_link(journal(), above() + "/kept");
  }
  setBack();
  const Store store = open();
  EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}}));
  store->set(3, "c");
  ASSERT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
  // The clock is set back while the store is open.
  setBack();
  store->set(4, "c");
  const Store other = open();
  EXPECT_EQ(other->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}, {"c", 4}}));
  other->set(5, "d");
  ASSERT_TRUE(waitUntil([&] { return store->value("d") == 5; }));
  ASSERT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}, {"c", 4}, {"d", 5}}));
  // Another program's file is older than all of these.
  replace({{"a", 6}, {"b", 2}, {"c", 4}, {"d", 5}});
  std::filesystem::last_write_time(plist(), std::filesystem::file_time_type::clock::now() - std::chrono::hours(9000));
  ASSERT_TRUE(waitUntil([&] { return store->value("a") == 6 && other->value("a") == 6; }));
}

// The test below concerns a later version of the library with the same identifier.

TEST_F(SettingsForeignFiles, OfALaterVersionThatComesLaterAreNotChanged) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  const std::string former = contentsOf(journal());
  std::string later = detail::JournalHeader{.version = 2}.encoded();
  later += "what only that version knows";
  replace(journal(), later);
  store->set(2, "b");
  EXPECT_EQ(store->value("b"), 2);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::newerVersion);
  EXPECT_EQ(store->status().unstoredKeys, 1);
  EXPECT_FALSE(store->synchronize());
  clock_.advance(JournaledUserDefaults::retryDelay);
  EXPECT_EQ(contentsOf(journal()), later);
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
  // The journal of the later version is removed, and the values in memory are stored.
  replace(journal(), former);
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}}));
}

TEST_F(SettingsForeignFiles, WithRecordsOfUnknownKindsAreReadWithoutThem) {
  const Store store = open();
  store->set(1, "a");
  const auto header = detail::JournalHeader::from(contentsOf(journal()));
  ASSERT_TRUE(header.has_value());
  for (const int kind : {0, 7, 100, 255}) {
    const detail::JournalRecord record{
        .kind = static_cast<detail::JournalRecord::Kind>(kind), .writer = 99, .key = "a", .value = "whatever"};
    std::ofstream(journal(), std::ios::binary | std::ios::app) << record.encoded(header->nonce);
  }
  // A record of a known kind with a value that is not a property list.
  const detail::JournalRecord damaged{
      .kind = detail::JournalRecord::Kind::set, .writer = 99, .key = "a", .value = "bplist00"};
  std::ofstream(journal(), std::ios::binary | std::ios::app) << damaged.encoded(header->nonce);
  store->set(2, "b");
  EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}}));
}

}  // namespace
}  // namespace Tessaly::inline v1
