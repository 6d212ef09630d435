// SPDX-License-Identifier: MIT
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/detail/BundleNote.hpp"
#include "tests/Support/OutputOf.hpp"

namespace Tessaly::inline v1 {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::KilledBySignal;
using ::testing::MatchesRegex;

std::string outputOf(const std::string& program) {
  return Tests::outputOf(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/" + program);
}

std::string wholeBundleOf(const std::string& program) {
  return "identifier=org.example.bundled-app\nversion=1.2.3\nbuild=42\nlocalizations=en;fr;pt_BR;\n"
         "name=Bündled = \"app\"\nempty=\nexecutable=" +
         program + "\n";
}

TEST(Bundle, FactsOfTheBuildAreInTheExecutable) { EXPECT_EQ(outputOf("PrintBundle"), wholeBundleOf("PrintBundle")); }

TEST(Bundle, FactsSurviveStrippingAndSectionRemoval) {
  EXPECT_EQ(outputOf("PrintStrippedBundle"), wholeBundleOf("PrintStrippedBundle"));
  EXPECT_EQ(outputOf("PrintBundleByGNULinker"), wholeBundleOf("PrintBundleByGNULinker"));
}

TEST(Bundle, FactsAreFoundInAFixedAddressExecutable) {
  EXPECT_EQ(outputOf("PrintFixedAddressBundle"), wholeBundleOf("PrintFixedAddressBundle"));
}

TEST(Bundle, AnExecutableWithoutABundleHasNoFacts) {
  EXPECT_EQ(outputOf("PrintNoBundle"),
            "identifier=-\nversion=-\nbuild=-\nlocalizations=\nname=-\nempty=-\nexecutable=PrintNoBundle\n");
}

TEST(Bundle, AnIdentifierAloneIsEnough) {
  EXPECT_EQ(outputOf("PrintIdentifierOnly"),
            "identifier=a\nversion=-\nbuild=-\nlocalizations=\nname=-\nempty=-\nexecutable=PrintIdentifierOnly\n");
}

TEST(Bundle, FactsSetInCodeAreThoseOfTheMainBundle) {
  Bundle::setMain({.identifier = "app.identifier",
                   .shortVersion = "2.0",
                   .build = "7",
                   .localizations = {"de"},
                   .information = {{"CFBundleName", "Name"}}});
  const Bundle& bundle = Bundle::main();
  EXPECT_EQ(bundle.bundleIdentifier(), "app.identifier");
  EXPECT_EQ(bundle.shortVersionString(), "2.0");
  EXPECT_EQ(bundle.buildVersion(), "7");
  EXPECT_THAT(bundle.localizations(), ElementsAre("de"));
  EXPECT_EQ(bundle.infoValue("CFBundleIdentifier"), "app.identifier");
  EXPECT_EQ(bundle.infoValue("CFBundleShortVersionString"), "2.0");
  EXPECT_EQ(bundle.infoValue("CFBundleVersion"), "7");
  EXPECT_EQ(bundle.infoValue("CFBundleName"), "Name");
  EXPECT_EQ(bundle.infoValue("Missing"), std::nullopt);
  EXPECT_EQ(&Bundle::main(), &bundle);
}

TEST(Bundle, KnownEntriesOfTheDictionaryAreItsFacts) {
  Bundle::setMain({.build = "7", .information = {{"CFBundleIdentifier", "a.b"}, {"CFBundleVersion", "8"}}});
  EXPECT_EQ(Bundle::main().bundleIdentifier(), "a.b");
  EXPECT_EQ(Bundle::main().buildVersion(), "7");
  EXPECT_EQ(Bundle::main().infoValue("CFBundleVersion"), "7");
}

TEST(Bundle, SettingFactsAfterFirstUseStopsTheProcess) {
  EXPECT_EXIT(
      {
        static_cast<void>(Bundle::main());
        Bundle::setMain({});
      },
      KilledBySignal(SIGABRT),
      MatchesRegex("Tessaly/Bundle:[0-9]+: Fatal error: "
                   "Bundle::setMain was called after the main bundle had been used\n"));
}

TEST(Bundle, SettingFactsTwiceStopsTheProcess) {
  EXPECT_EXIT(
      {
        Bundle::setMain({});
        Bundle::setMain({});
      },
      KilledBySignal(SIGABRT), MatchesRegex("Tessaly/Bundle:[0-9]+: Fatal error: Bundle::setMain was called twice\n"));
}

TEST(Bundle, ThreadsThatAskAtOnceGetTheSameBundle) {
  std::vector<const Bundle*> seen(8);
  std::vector<std::thread> threads;
  for (auto& bundle : seen) threads.emplace_back([&bundle] { bundle = &Bundle::main(); });
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(seen, ::testing::Each(&Bundle::main()));
}

std::vector<std::string> preferred(std::map<std::string, std::string> environment) {
  const ProcessInfo process({.rootFolder = "", .environment = std::move(environment)});
  const ProcessInfo::Replacement replacement(process);
  return Bundle::main().preferredLocalizations();
}

TEST(Bundle, EnvironmentChoosesThePreferredLocalizations) {
  Bundle::setMain({.localizations = {"en", "fr", "pt_BR", "pt-PT", "zh"}});
  EXPECT_THAT(preferred({{"LANG", "fr_CA.UTF-8"}}), ElementsAre("fr"));
  EXPECT_THAT(preferred({{"LANG", "pt_PT.UTF-8@euro"}}), ElementsAre("pt-PT"));
  EXPECT_THAT(preferred({{"LANG", "pt"}}), ElementsAre("pt_BR"));
  EXPECT_THAT(preferred({{"LANG", "fr_FR"}, {"LC_MESSAGES", "zh_CN.UTF-8"}}), ElementsAre("zh"));
  EXPECT_THAT(preferred({{"LC_MESSAGES", "zh_CN.UTF-8"}, {"LC_ALL", "fr"}}), ElementsAre("fr"));
  EXPECT_THAT(preferred({{"LC_ALL", ""}, {"LANG", "fr"}}), ElementsAre("fr"));
  EXPECT_THAT(preferred({{"LANG", "en_GB"}, {"LANGUAGE", "de:fr_BE:pt_BR:fr:en"}}), ElementsAre("fr", "pt_BR", "en"));
}

TEST(Bundle, WithoutASuitableLocalizationTheOriginalOneIsPreferred) {
  Bundle::setMain({.localizations = {"fr", "en"}});
  EXPECT_THAT(preferred({}), ElementsAre("fr"));
  EXPECT_THAT(preferred({{"LANG", "de_DE"}}), ElementsAre("fr"));
  for (const char* plain : {"C", "C.UTF-8", "POSIX"}) {
    EXPECT_THAT(preferred({{"LANG", plain}, {"LANGUAGE", "en"}}), ElementsAre("fr"));
  }
}

TEST(Bundle, HostWithoutLocalizationsPrefersEnglish) {
  Bundle::setMain({});
  EXPECT_THAT(preferred({{"LANG", "fr_FR"}}), ElementsAre("en"));
}

TEST(Bundle, AHostMayChooseThePreferredLocalizationsItself) {
  Bundle::setMain({.localizations = {"en", "fr"}, .preferredLocalizations = std::vector<std::string>{}});
  EXPECT_THAT(preferred({{"LANG", "fr_FR"}}), IsEmpty());
}

std::vector<std::byte> makeNote(std::uint32_t type, std::string_view owner, std::string_view description,
                                std::size_t alignment = 4) {
  const Elf64_Nhdr header{static_cast<Elf64_Word>(owner.size()), static_cast<Elf64_Word>(description.size()), type};
  std::vector<std::byte> note(sizeof header);
  std::memcpy(note.data(), &header, sizeof header);
  for (const std::string_view part : {owner, description}) {
    for (const char c : part) note.push_back(static_cast<std::byte>(c));
    note.resize((note.size() + alignment - 1) / alignment * alignment);
  }
  return note;
}

constexpr std::string_view owner("Tessaly\0", 8);
constexpr std::string_view identifierFact("CFBundleIdentifier\0a.b\0", 23);

TEST(BundleNote, IsFoundBehindOtherNotes) {
  for (const std::size_t alignment : {4u, 8u}) {
    auto segment = makeNote(3, std::string_view("GNU\0", 4), "12345", alignment);
    const auto other = makeNote(2, owner, identifierFact, alignment);
    const auto own = makeNote(1, owner, identifierFact, alignment);
    segment.insert(segment.end(), other.begin(), other.end());
    EXPECT_EQ(detail::findBundleNote(segment, alignment), std::nullopt);
    segment.insert(segment.end(), own.begin(), own.end());
    const auto facts = detail::findBundleNote(segment, alignment);
    ASSERT_TRUE(facts.has_value());
    EXPECT_EQ(facts->identifier, "a.b");
  }
}

TEST(BundleNote, ACutSegmentIsNeverReadPastItsEnd) {
  const auto note = makeNote(1, owner, identifierFact);
  for (std::size_t size = 0; size < note.size(); ++size) {
    // A copy of exactly this size, so that the address sanitizer reports a read beyond it.
    const std::vector<std::byte> cut(note.begin(), note.begin() + static_cast<std::ptrdiff_t>(size));
    const auto facts = detail::findBundleNote(cut, 4);
    const bool isWhole = size >= 12 + owner.size() + identifierFact.size();
    EXPECT_EQ(facts.has_value(), isWhole) << size;
  }
}

TEST(BundleNote, WrongSizesAreRefused) {
  auto note = makeNote(1, owner, identifierFact);
  for (const std::size_t field : {0u, 4u}) {
    for (const std::uint32_t lie : {0xFFFFFFFFu, 0x7FFFFFFFu, 0xFFFFFFF4u, 1000u}) {
      auto lying = note;
      std::memcpy(lying.data() + field, &lie, sizeof lie);
      EXPECT_EQ(detail::findBundleNote(lying, 4), std::nullopt);
    }
  }
}

TEST(BundleNote, KeyWithoutAValueIsOmitted) {
  const auto facts = detail::findBundleNote(makeNote(1, owner, identifierFact.substr(0, 21)), 4);
  ASSERT_TRUE(facts.has_value());
  EXPECT_EQ(*facts, BundleInformation{});
}

}  // namespace
}  // namespace Tessaly::inline v1
