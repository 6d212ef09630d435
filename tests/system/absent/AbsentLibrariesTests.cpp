// SPDX-License-Identifier: MIT
// A system without the libraries that are loaded when they are first used. The loader finds an empty file in the place
// of each, because `LD_LIBRARY_PATH` names a directory of such files.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/detail/LateLibrary.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/Digests.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Platform/Authentication/LAError.hpp"
#include "Tessaly/Platform/Files/NSFileCoordinator.hpp"
#include "Tessaly/Platform/Linux/BusPower.hpp"
#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"
#include "Tessaly/Platform/Linux/JournalLogSink.hpp"
#include "Tessaly/Platform/Linux/LinuxNetworkBackend.hpp"
#include "Tessaly/Platform/Linux/PolkitAuthentication.hpp"
#include "tests/Support/FakeCompositor.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/Support/XServer.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::waitUntil;

class AbsentLibraries : public ::testing::Test {
 protected:
  AbsentLibraries() { ::unsetenv("LD_LIBRARY_PATH"); }  // Programs that a test starts find their libraries.

  static bool isAbsent(const char* file) { return !detail::LateLibrary(file).isLoaded(); }

  template <typename Body>
  static int codeOf(Body body) {
    try {
      body();
    } catch (const POSIXError& error) {
      return static_cast<int>(error.code());
    }
    return 0;
  }
};

TEST_F(AbsentLibraries, ArchiveIsRefusedWithELIBACC) {
  ASSERT_TRUE(isAbsent("libarchive.so.13"));
  const Tests::TemporaryFolder folder;
  std::ofstream(folder.path() + "/note") << "text";
  const URL directory = URL::fileURLWithPath(folder.path());
  EXPECT_EQ(ELIBACC, codeOf([&] {
              NSFileCoordinator().coordinateReading(directory, NSFileCoordinator::ReadingOptions::forUploading,
                                                    [](const URL&) {});
            }));
}

TEST_F(AbsentLibraries, DigestsAreRefusedWithELIBACC) {
  ASSERT_TRUE(isAbsent("libcrypto.so.3"));
  const std::uint8_t bytes[]{1, 2, 3};
  EXPECT_EQ(ELIBACC, codeOf([&] { (void)SHA256Digest::hash(bytes); }));
  EXPECT_EQ(ELIBACC, codeOf([&] { (void)SHA512Digest::hash(bytes); }));
  EXPECT_EQ(ELIBACC, codeOf([&] { (void)Insecure::MD5Digest::hash(bytes); }));
  EXPECT_EQ(ELIBACC, codeOf([&] { (void)HashedAuthenticationCode::authenticationCode(bytes, bytes); }));
  EXPECT_EQ(ELIBACC, codeOf([&] { (void)detail::DigestState(detail::DigestMethod::sha256); }));
}

TEST_F(AbsentLibraries, PropertyListsWithDataNeedNoLibrary) {
  ASSERT_TRUE(isAbsent("libcrypto.so.3"));
  const PropertyList value(Data(std::string_view("Hi")));
  const Data written = PropertyListSerialization::data(value, PropertyListFormat::xml);
  EXPECT_NE(written.text().find("SGk="), std::string_view::npos);
  EXPECT_EQ(PropertyListSerialization::read(written.bytes()).value, value);
}

TEST_F(AbsentLibraries, OnlyInternationalHostsOfURLsAreRefused) {
  ASSERT_TRUE(isAbsent("libidn2.so.0"));
  EXPECT_TRUE(URL::from("https://example.org/straße"));
  EXPECT_EQ(ELIBACC, codeOf([] { (void)URL::from("https://straße.example/"); }));
}

TEST_F(AbsentLibraries, JournalReportsTheMissingLibrary) {
  ASSERT_TRUE(isAbsent("libsystemd.so.0"));
  const Tests::TemporaryFolder folder;
  std::ofstream(folder.path() + "/socket");
  auto& ring = *new LogRing(64 * 1024);  // The thread of the sink never ends.
  auto& sink = *new JournalLogSink(ring, {.socketPath = folder.path() + "/socket"});
  LogRecord record = LogRecord::make(OSLog("subsystem", "category"), OSLogType::error);
  record.format = "text";
  ring.append(record);
  sink.write(record);
  EXPECT_TRUE(waitUntil([&] { return sink.status().state == JournalState::refused; }));
  EXPECT_EQ(ELIBACC, sink.status().error);
}

TEST_F(AbsentLibraries, ServicesOfTheBusesAreAbsent) {
  ASSERT_TRUE(isAbsent("libsystemd.so.0"));
  BusPower power;
  std::uint32_t identifier = 0;
  EXPECT_NE(0, power.createAssertion(PowerBackend::noDisplaySleep, PowerBackend::levelOn, "Playing", identifier));
  ASSERT_FALSE(power.status().attempts.empty());
  for (const auto& attempt : power.status().attempts) EXPECT_EQ(PowerProblem::noBus, attempt.problem);

  PolkitAuthentication polkit("org.example.action");
  std::exception_ptr error;
  EXPECT_FALSE(polkit.makeContext()->canEvaluatePolicy(LAPolicy::deviceOwnerAuthentication, error));
  ASSERT_NE(nullptr, error);
  try {
    std::rethrow_exception(error);
  } catch (const LAError& failure) {
    EXPECT_EQ(LAFailure::noService, failure.failure());
  }
}

TEST_F(AbsentLibraries, NetworkKnowsNoExpense) {
  ASSERT_TRUE(isAbsent("libsystemd.so.0"));
  const auto network = LinuxNetworkBackend::make();
  EXPECT_EQ(NWPath::ExpenseSource::noBus, network->currentPath().expenseSource());
}

TEST_F(AbsentLibraries, PasteboardFindsNoWaylandDisplay) {
  ASSERT_TRUE(isAbsent("libwayland-client.so.0"));
  const Tests::FakeCompositor compositor("ext");
  DisplayPasteboard pasteboard;
  EXPECT_FALSE(pasteboard.setString("text", PasteboardType::string));
  EXPECT_EQ(pasteboard.status(), (PasteboardStatus{PasteboardServer::none, PasteboardProblem::noDisplay, false}));
}

TEST_F(AbsentLibraries, PasteboardFindsNoX11Display) {
  ASSERT_TRUE(isAbsent("libxcb.so.1"));
  const Tests::XServer server;
  if (!server.reason().empty()) GTEST_SKIP() << server.reason();
  DisplayPasteboard pasteboard;
  EXPECT_FALSE(pasteboard.setString("text", PasteboardType::string));
  EXPECT_EQ(PasteboardProblem::noDisplay, pasteboard.status().problem);
}

}  // namespace
}  // namespace Tessaly::inline v1
