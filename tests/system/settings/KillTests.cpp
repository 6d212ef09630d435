// SPDX-License-Identifier: MIT
// Writing processes are killed at random moments. Every acknowledged write must be there.
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/system/settings/WritingProcess.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr int writers = 4;

using Tests::WritingProcess;

/// Every reported number, or a later one, must be under its key, and no text may be cut.
void check(const WritingProcess& process, const PropertyList::Dictionary& values) {
  const std::string missing = process.missing(values);
  EXPECT_TRUE(missing.empty()) << missing;
  const auto found = values.find(process.name() + ".text");
  if (found == values.end()) return;
  const std::string& text = *found->second.text();
  EXPECT_TRUE(std::ranges::all_of(text, [&](char unit) { return unit == text.front(); })) << process.name();
}

TEST(SettingsKill, LosesNoAcknowledgedWrite) {
  const bool isStress = std::getenv("TESSALY_STRESS") != nullptr;
  const int kills = isStress ? 400 : 24;
  const Tests::TemporaryFolder above;
  const std::string folder = above.path() + "/org.example.test";
  std::vector<std::unique_ptr<WritingProcess>> processes;
  for (int i = 0; i < writers; ++i) {
    processes.push_back(std::make_unique<WritingProcess>("SettingsWriter", folder, i));
  }
  std::random_device device;
  const auto seed = device();
  std::mt19937 random(seed);
  SCOPED_TRACE("seed " + std::to_string(seed));
  int checkpoints = 0;
  detail::FileIdentity last;
  const auto read = [&] {
    return JournaledUserDefaults::open({.folder = folder, .opening = JournaledUserDefaults::Opening::forReading})
        ->dictionaryRepresentation();
  };
  for (int round = 0; round < kills && !::testing::Test::HasFailure(); ++round) {
    // The test reads the reports of the writers, and then kills one of them at a random moment.
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 60'000 + 5'000);
    while (std::chrono::steady_clock::now() < end) {
      ::poll(nullptr, 0, 1);
      for (const auto& process : processes) process->read();
    }
    WritingProcess& victim = *processes[random() % processes.size()];
    victim.kill();
    for (const auto& process : processes) process->read();
    const PropertyList::Dictionary values = read();
    check(victim, values);
    const auto contents = detail::readFile(folder + "/Settings.plist");
    if (contents) {
      // No reader sees an incomplete file.
      EXPECT_NO_THROW(
          static_cast<void>(PropertyListSerialization::read(Data(std::string_view(contents->bytes)).bytes())));
      checkpoints += contents->identity != last ? 1 : 0;
      last = contents->identity;
    }
    victim.start();
  }
  for (const auto& process : processes) process->kill();
  PropertyList::Dictionary values = read();
  std::int64_t writes = 0;
  for (const auto& process : processes) {
    check(*process, values);
    writes += process->reports();
  }
  {
    const auto store = JournaledUserDefaults::open({.folder = folder});
    EXPECT_EQ(PropertyList(store->dictionaryRepresentation()), PropertyList(values));
    EXPECT_TRUE(store->synchronize());
  }
  const auto contents = detail::readFile(folder + "/Settings.plist");
  ASSERT_TRUE(contents.has_value());
  EXPECT_EQ(PropertyListSerialization::read(Data(std::string_view(contents->bytes)).bytes()).value,
            PropertyList(values));
  EXPECT_GT(writes, 0);
  std::cout << kills + writers << " processes killed, " << 2 * writes << " writes acknowledged, " << checkpoints
            << " property lists seen, nothing lost\n";
}

}  // namespace
}  // namespace Tessaly::inline v1
