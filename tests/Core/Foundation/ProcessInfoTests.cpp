// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::inline v1 {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using Tests::outputOf;
using Tests::TemporaryFolder;

TEST(OperatingSystemVersion, MissingPartsAreZero) {
  const auto read = [](std::string_view text) { return OperatingSystemVersion::from(text).description(); };
  EXPECT_EQ(read("12"), "12.0.0");
  EXPECT_EQ(read("14.2"), "14.2.0");
  EXPECT_EQ(read("14.2.1"), "14.2.1");
  EXPECT_EQ(read("14.2.1.9"), "14.2.1");
  EXPECT_EQ(read("22.04 LTS"), "22.4.0");
  EXPECT_EQ(read(""), "0.0.0");
  EXPECT_EQ(read("rolling"), "0.0.0");
  EXPECT_EQ(read("3."), "3.0.0");
  EXPECT_EQ(read("3..5"), "3.0.0");
  EXPECT_EQ(read("-1.5"), "0.0.0");
  EXPECT_EQ(read("4294967295.0"), "4294967295.0.0");
  EXPECT_EQ(read("99999999999999999999.1"), "0.0.0");
}

TEST(OperatingSystemVersion, IsOrderedByItsNumbers) {
  EXPECT_LT((OperatingSystemVersion{14, 9, 9}), (OperatingSystemVersion{15, 0, 0}));
  EXPECT_LT((OperatingSystemVersion{14, 9, 9}), (OperatingSystemVersion{14, 10, 0}));
  EXPECT_EQ((OperatingSystemVersion{15, 0, 0}), OperatingSystemVersion::from("15"));
  std::ostringstream stream;
  stream << OperatingSystemVersion{15, 1, 2};
  EXPECT_EQ(stream.str(), "15.1.2");
}

void writeFile(const std::filesystem::path& path, std::string_view text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

OperatingSystemVersion versionIn(const TemporaryFolder& root) {
  return ProcessInfo({.rootFolder = root.path()}).operatingSystemVersion();
}

TEST(ProcessInfo, VersionComesFromTheReleaseFile) {
  const TemporaryFolder root;
  EXPECT_EQ(versionIn(root), OperatingSystemVersion());
  writeFile(root.path() + "/usr/lib/os-release", "NAME=Vendor\nVERSION_ID='11.6'\n");
  EXPECT_EQ(versionIn(root), (OperatingSystemVersion{11, 6, 0}));
  writeFile(root.path() + "/etc/os-release", "VERSION=\"99\"\n# VERSION_ID=98\nVERSION_ID=\"12.5.3\"\nID=debian");
  EXPECT_EQ(versionIn(root), (OperatingSystemVersion{12, 5, 3}));
  writeFile(root.path() + "/etc/os-release", "VERSION_ID=1\nVERSION_ID=3\\9");
  EXPECT_EQ(versionIn(root), (OperatingSystemVersion{39, 0, 0}));
  writeFile(root.path() + "/etc/os-release", "ID=rolling\n");
  EXPECT_EQ(versionIn(root), OperatingSystemVersion());
}

TEST(ProcessInfo, AnOverriddenVersionNeedsNoFile) {
  const ProcessInfo info({.operatingSystemVersion = OperatingSystemVersion{15, 0, 0}});
  EXPECT_EQ(info.operatingSystemVersion().description(), "15.0.0");
}

TEST(ProcessInfo, EnvironmentIsReadAtEachCall) {
  const ProcessInfo& info = ProcessInfo::processInfo();
  ASSERT_EQ(::setenv("TESSALY_TEST_VALUE", "a=b", 1), 0);
  EXPECT_EQ(info.environmentValue("TESSALY_TEST_VALUE"), "a=b");
  EXPECT_EQ(info.environment().at("TESSALY_TEST_VALUE"), "a=b");
  ASSERT_EQ(::setenv("TESSALY_TEST_VALUE", "", 1), 0);
  EXPECT_EQ(info.environmentValue("TESSALY_TEST_VALUE"), "");
  ASSERT_EQ(::unsetenv("TESSALY_TEST_VALUE"), 0);
  EXPECT_EQ(info.environmentValue("TESSALY_TEST_VALUE"), std::nullopt);
  EXPECT_FALSE(info.environment().contains("TESSALY_TEST_VALUE"));
  ASSERT_EQ(::clearenv(), 0);
  EXPECT_TRUE(info.environment().empty());
}

TEST(ProcessInfo, AnOverriddenEnvironmentHidesTheOther) {
  const ProcessInfo info({.environment = std::map<std::string, std::string>{{"APP_SANDBOX_CONTAINER_ID", ""}}});
  EXPECT_THAT(info.environment(), ElementsAre(Pair("APP_SANDBOX_CONTAINER_ID", "")));
  EXPECT_EQ(info.environmentValue("APP_SANDBOX_CONTAINER_ID"), "");
  EXPECT_EQ(info.environmentValue("PATH"), std::nullopt);
}

TEST(ProcessInfo, ReplacementIsUsedForItsScope) {
  const ProcessInfo& own = ProcessInfo::processInfo();
  {
    const ProcessInfo replaced({.operatingSystemVersion = OperatingSystemVersion{14, 0, 0}});
    const ProcessInfo::Replacement replacement(replaced);
    EXPECT_EQ(&ProcessInfo::processInfo(), &replaced);
    const ProcessInfo inner({});
    {
      const ProcessInfo::Replacement innerReplacement(inner);
      EXPECT_EQ(&ProcessInfo::processInfo(), &inner);
    }
    EXPECT_EQ(&ProcessInfo::processInfo(), &replaced);
  }
  EXPECT_EQ(&ProcessInfo::processInfo(), &own);
}

TEST(ProcessInfo, GivesFactsOfThisProcess) {
  const ProcessInfo& info = ProcessInfo::processInfo();
  EXPECT_EQ(info.processIdentifier(), ::getpid());
  EXPECT_EQ(info.executablePath(), std::filesystem::read_symlink("/proc/self/exe").string());
  EXPECT_EQ(info.processName(), "FoundationTests");
  ASSERT_FALSE(info.arguments().empty());
  EXPECT_TRUE(info.arguments().front().ends_with("FoundationTests"));
}

TEST(ProcessInfo, GivesFactsOfThisMachine) {
  const ProcessInfo& info = ProcessInfo::processInfo();
  struct sysinfo machine{};
  ASSERT_EQ(::sysinfo(&machine), 0);
  EXPECT_EQ(info.physicalMemory() / 4096, std::uint64_t{machine.totalram} * machine.mem_unit / 4096);
  char name[256]{};
  ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);
  EXPECT_EQ(info.hostName(), name);
  timespec before{};
  timespec after{};
  ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &before), 0);
  const double uptime = info.systemUptime();
  ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &after), 0);
  EXPECT_GE(uptime, static_cast<double>(before.tv_sec));
  EXPECT_LE(uptime, static_cast<double>(after.tv_sec + 1));
}

TEST(ProcessInfo, CountsTheProcessorsThatItMayRunOn) {
  const ProcessInfo& info = ProcessInfo::processInfo();
  EXPECT_GE(info.activeProcessorCount(), 1);
  cpu_set_t allowed;
  ASSERT_EQ(::sched_getaffinity(0, sizeof allowed, &allowed), 0);
  EXPECT_EQ(info.activeProcessorCount(), CPU_COUNT(&allowed));
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
    if (!CPU_ISSET(cpu, &allowed)) continue;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(cpu, &one);
    ASSERT_EQ(::sched_setaffinity(0, sizeof one, &one), 0);
    break;
  }
  EXPECT_EQ(info.activeProcessorCount(), 1);
}

TEST(ProcessInfo, ARemovedExecutableKeepsItsName) {
  const TemporaryFolder folder;
  const std::string program = folder.path() + "/program";
  std::filesystem::copy_file(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/PrintProcess", program);
  EXPECT_EQ(outputOf(program + " 'one word' '' last"),
            "path=" + program + "\nname=program\narguments=[" + program + "][one word][][last]\n");
}

TEST(ProcessInfo, FileNamedLikeARemovedOneKeepsItsName) {
  const TemporaryFolder folder;
  const std::string program = folder.path() + "/program (deleted)";
  std::filesystem::copy_file(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/PrintNoBundle", program);
  EXPECT_THAT(outputOf("'" + program + "'"), ::testing::HasSubstr("\nexecutable=program (deleted)\n"));
}

}  // namespace
}  // namespace Tessaly::inline v1
